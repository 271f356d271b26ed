// The anti-spam task: its outcomes, its settings with the outcomes as the console shows them, and
// the white and black lists of its policy.
#include "import_task.h"
#include "list_walk.h"
#include "runlog.h"

#include <cstdint>
#include <string>

using namespace zeva;

namespace {

constexpr ValueRow kClassifications[] = {
    {"Passed", VALUE_TEXT},
    {"Blocklist_Triggered", VALUE_TEXT},
    {"Bulk_MostConfident", VALUE_TEXT},
    {"Bulk_VeryConfident", VALUE_TEXT},
    {"Bulk_Confident", VALUE_TEXT},
    {"Bulk_LeastConfident", VALUE_TEXT},
    {"Phish_Triggered", VALUE_TEXT},
    {"Porn_MostConfident", VALUE_TEXT},
    {"Porn_VeryConfident", VALUE_TEXT},
    {"Porn_Confident", VALUE_TEXT},
    {"Porn_LeastConfident", VALUE_TEXT},
    {"MMF_MostConfident", VALUE_TEXT},
    {"MMF_VeryConfident", VALUE_TEXT},
    {"MMF_Confident", VALUE_TEXT},
    {"MMF_LeastConfident", VALUE_TEXT},
    {"Commercial_MostConfident", VALUE_TEXT},
    {"Commercial_VeryConfident", VALUE_TEXT},
    {"Commercial_Confident", VALUE_TEXT},
    {"Commercial_LeastConfident", VALUE_TEXT},
    {"Racist_MostConfident", VALUE_TEXT},
    {"Racist_VeryConfident", VALUE_TEXT},
    {"Racist_Confident", VALUE_TEXT},
    {"Racist_LeastConfident", VALUE_TEXT},
};

// The console's own list: a default for each category, and the bulk levels in the order in which
// it shows them.
constexpr ValueRow kShownClassifications[] = {
    {"Passed", VALUE_TEXT},
    {"Blocklist_Triggered", VALUE_TEXT},
    {"Bulk_Confident", VALUE_TEXT},
    {"Bulk_Default", VALUE_TEXT},
    {"Bulk_LeastConfident", VALUE_TEXT},
    {"Bulk_MostConfident", VALUE_TEXT},
    {"Bulk_VeryConfident", VALUE_TEXT},
    {"Phish_Triggered", VALUE_TEXT},
    {"Porn_Default", VALUE_TEXT},
    {"Porn_MostConfident", VALUE_TEXT},
    {"Porn_VeryConfident", VALUE_TEXT},
    {"Porn_Confident", VALUE_TEXT},
    {"Porn_LeastConfident", VALUE_TEXT},
    {"MMF_Default", VALUE_TEXT},
    {"MMF_MostConfident", VALUE_TEXT},
    {"MMF_VeryConfident", VALUE_TEXT},
    {"MMF_Confident", VALUE_TEXT},
    {"MMF_LeastConfident", VALUE_TEXT},
    {"Commercial_Default", VALUE_TEXT},
    {"Commercial_MostConfident", VALUE_TEXT},
    {"Commercial_VeryConfident", VALUE_TEXT},
    {"Commercial_Confident", VALUE_TEXT},
    {"Commercial_LeastConfident", VALUE_TEXT},
    {"Racist_Default", VALUE_TEXT},
    {"Racist_MostConfident", VALUE_TEXT},
    {"Racist_VeryConfident", VALUE_TEXT},
    {"Racist_Confident", VALUE_TEXT},
    {"Racist_LeastConfident", VALUE_TEXT},
};

constexpr ValueRow kSettings[] = {
    {"BaselineDetectionRate", VALUE_NUMBER}, {"PornMultiplier", VALUE_NUMBER},
    {"MMFMultiplier", VALUE_NUMBER},         {"CommercialMultiplier", VALUE_NUMBER},
    {"RacistMultiplier", VALUE_NUMBER},      {"tmp_taskActive", VALUE_NUMBER},
    {"tmp_wblistActive", VALUE_NUMBER},      {"ControllingPolicyPath", VALUE_TEXT},
};
constexpr std::size_t kDetectionRateRow = 0;

// The white (WL) and black (BL) lists: those users edit, fixed ones, and those subscribed to. The
// export has a list's length under "size_NAME" and its entries under "l_NAME_1" and so on.
struct MailList {
  char const* name;
  int code;  // of an entry that cannot be written
};
constexpr MailList kLists[] = {{"editWL", 244},   {"noEditWL", 270}, {"editBL", 296},
                               {"noEditBL", 322}, {"subsWL", 348},   {"subsBL", 374}};

char const kListSection[] = "blackwhitelist";
constexpr int kMissingEntriesCode = 231;

// Brings the detection level into the new engine's range. It is judged as the unsigned 32-bit
// number that the store holds.
void correct_detection_rate(long& rate) {
  auto const original = static_cast<std::uint32_t>(rate);
  if (original <= 1) {
    rate = 4;
    LogDebugMessage("Warning [%d]: BaselineDetectionRate changed to 4, original is %d", 154,
                    static_cast<int>(original));
  } else if (original > 5) {
    rate = 1;
    LogDebugMessage("Warning [%d]: Invalid BaselineDetectionRate (%d), use default value.", 159,
                    static_cast<int>(original));
  }
}

bool import_task_spx_classification(NvPoRegistry& registry, _NvPolComHandle* taskKey,
                                    NvConfigFile const& taskConfig) {
  return import_section(registry, taskKey, taskConfig, "classification", kClassifications,
                        "Classification", 56);
}

bool import_task_spx_classification_ui(NvPoRegistry& registry, _NvPolComHandle* key,
                                       NvConfigFile const& taskConfig) {
  return import_section(registry, key, taskConfig, "Classification_UI", kShownClassifications,
                        "Classification_UI", 118);
}

bool import_task_spx_setting(NvPoRegistry& registry, _NvPolComHandle* taskKey,
                             NvConfigFile const& taskConfig) {
  ValueTable settings("setting", kSettings);
  if (!settings.read(taskConfig)) return false;
  correct_detection_rate(settings.number(kDetectionRateRow));
  RegistryKey key(registry, taskKey, "setting", 166);
  return key && settings.write(registry, key.get()) &&
         import_task_spx_classification_ui(registry, key.get(), taskConfig);
}

// A missing entry is left out; one that cannot be written fails the list, but not the next entry.
bool import_list(NvPoRegistry& registry, _NvPolComHandle* key, NvConfigFile const& config,
                 MailList const& list, int size) {
  std::string const stem = std::string("l_") + list.name + "_";
  bool complete = true;
  ListWalk entries =
      ListWalk::over_keys(config, kListSection, stem, size, "entries " + stem, kMissingEntriesCode);
  while (entries.next()) {
    std::string const name = entries.name();
    std::string entry;
    if (!read_data(config, kListSection, name, VALUE_LIST, &entry, false)) continue;
    if (!write_data(registry, key, name, VALUE_LIST, &entry)) {
      log_error(list.code, "write " + name + " failed.");
      complete = false;
    }
  }
  return complete;
}

bool import_bw_list(NvPoRegistry& registry, NvConfigFile const& config,
                    std::string const& policyPath) {
  RegistryKey key(registry, "WhiteBlackLists\\Global\\" + policyPath, 197);
  if (!key) return false;
  ValueTable head(kListSection);
  head.add("active", VALUE_NUMBER);
  for (MailList const& list : kLists) {
    head.add(std::string("size_") + list.name, VALUE_NUMBER);
  }
  if (!head.read(config)) {
    log_error(216, "read sizes of white and black lists from " + config.getname() + " failed.");
    return false;
  }
  bool complete = head.write(registry, key.get());
  if (!complete) log_error(221, "write sizes of white and black lists failed.");
  std::size_t row = 0;
  for (MailList const& list : kLists) {
    int const size = static_cast<int>(head.number(++row));
    complete &= import_list(registry, key.get(), config, list, size);
  }
  return complete;
}

}  // namespace

bool import_task_spx(NvPoRegistry& registry, _NvPolComHandle* tasksKey, NvConfigFile& taskConfig,
                     std::string const& policyPath) {
  TaskHead head;
  if (!head.read(taskConfig)) return false;
  RegistryKey task(registry, tasksKey, head.name(), 415);
  if (!task || !head.write(registry, task.get())) return false;
  // Each step runs whatever became of the one before: one missing row must not cost the lists.
  bool complete = import_task_spx_classification(registry, task.get(), taskConfig);
  complete &= import_task_spx_setting(registry, task.get(), taskConfig);
  complete &= import_bw_list(registry, taskConfig, policyPath);
  return complete;
}
