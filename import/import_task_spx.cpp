// The anti-spam task: its outcomes, its settings with the outcomes as the console shows them, and
// the white and black lists of its policy.
#include "import_task.h"
#include "list_walk.h"
#include "runlog.h"

#include <cstdint>
#include <iterator>
#include <string>

using namespace zeva;

namespace {

constexpr int kMissingEntriesCode = 231;
// Of an entry that cannot be written, by its list.
constexpr int kEntryCodes[] = {244, 270, 296, 322, 348, 374};
static_assert(std::size(kEntryCodes) == std::size(kMailListKeys));

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

bool import_task_spx_classification(NvPoRegistry& registry, _NvPolComHandle* task_key,
                                    NvConfigFile const& task_config) {
  return import_section(registry, task_key, task_config, kSpamClasses, 56);
}

bool import_task_spx_classification_ui(NvPoRegistry& registry, _NvPolComHandle* key,
                                       NvConfigFile const& task_config) {
  return import_section(registry, key, task_config, kShownSpamClasses, 118);
}

bool import_task_spx_setting(NvPoRegistry& registry, _NvPolComHandle* task_key,
                             NvConfigFile const& task_config) {
  ValueTable settings(kSpamSettings);
  if (!settings.read(task_config)) return false;
  correct_detection_rate(settings.number(kDetectionRate));
  RegistryKey key(registry, task_key, kSpamSettings.stored_in, 166);
  return key && settings.write(registry, key.get()) &&
         import_task_spx_classification_ui(registry, key.get(), task_config);
}

// A missing entry is left out; one that cannot be written fails the list, but not the next entry.
bool import_list(NvPoRegistry& registry, _NvPolComHandle* key, NvConfigFile const& config,
                 ExportKey const& list, int size, int code) {
  bool complete = true;
  std::string const shown = "entries " + std::string(stem_of(list.name));
  ListWalk entries =
      ListWalk::over_keys(config, kMailLists.name, list.name, size, shown, kMissingEntriesCode);
  while (entries.next()) {
    std::string const name = entries.name();
    std::string entry;
    if (!read_data(config, kMailLists.name, name, list.type, &entry, false)) continue;
    if (!write_data(registry, key, name, list.type, &entry)) {
      log_error(code, "write " + name + " failed.");
      complete = false;
    }
  }
  return complete;
}

bool import_bw_list(NvPoRegistry& registry, NvConfigFile const& config,
                    std::string const& policy_path) {
  RegistryKey key(registry, kMailLists.stored_in + ("\\" + policy_path), 197);
  if (!key) return false;
  ValueTable head(kMailListHead);
  if (!head.read(config)) {
    log_error(216, "read sizes of white and black lists from " + config.getname() + " failed.");
    return false;
  }
  bool complete = head.write(registry, key.get());
  if (!complete) log_error(221, "write sizes of white and black lists failed.");
  for (std::size_t i = 0; i < std::size(kMailListKeys); ++i) {
    int const size = head.count(kMailListSizes[i]);
    complete &= import_list(registry, key.get(), config, kMailListKeys[i], size, kEntryCodes[i]);
  }
  return complete;
}

}  // namespace

bool import_task_spx(NvPoRegistry& registry, _NvPolComHandle* tasksKey, NvConfigFile& taskConfig,
                     std::string const& policyPath) {
  ValueTable head(kTaskHead);
  if (!head.read(taskConfig)) return false;
  RegistryKey task(registry, tasksKey, head.text(kTaskName), 415);
  if (!task || !head.write(registry, task.get())) return false;
  // Each step runs whatever became of the one before: one missing row must not cost the lists.
  bool complete = import_task_spx_classification(registry, task.get(), taskConfig);
  complete &= import_task_spx_setting(registry, task.get(), taskConfig);
  complete &= import_bw_list(registry, taskConfig, policyPath);
  return complete;
}
