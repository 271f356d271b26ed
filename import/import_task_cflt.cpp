// The content-filter tasks, and the anti-spam task of the generation before.
//
// These hold whatever their rules took: expressions, synonyms, parts to scan, attachment types,
// disclaimers. So nothing of them is picked by a table; every section becomes a key of the task and
// every value is written as it is typed in the export, in the export's order.
#include "import_task.h"

#include <algorithm>
#include <span>
#include <string>
#include <vector>

using namespace zeva;

namespace {

constexpr int kMissingSectionCode = 52;
constexpr int kNamelessSectionCode = 63;
constexpr int kSectionKeyCode = 77;
constexpr int kTaskKeyCode = 112;

using RequiredSections = std::span<RequiredSection const>;

// The index of the first required section that satisfies `matches`, or their number.
template <class Matches>
std::size_t rank_of(RequiredSections required, Matches matches) {
  return static_cast<std::size_t>(std::ranges::find_if(required, matches) - required.begin());
}

// All or nothing: no value is stored before each can be read.
bool import_whole_section(NvPoRegistry& registry, _NvPolComHandle* task, NvConfigFile const& file,
                          Nvsectionpair const& held) {
  std::string const& section = held.getname();
  std::vector<Nvkeypair> const& pairs = held.getvalue().getattributes();
  std::vector<tag_VALUE_TYPE> types;
  for (Nvkeypair const& pair : pairs) {
    types.push_back(get_data_type(file, section, std::string(pair.name)));
    if (types.back() == VALUE_ANY) return false;
  }
  RegistryKey key(registry, task, section == "classification" ? "Classification" : section,
                  kSectionKeyCode);
  if (!key) return false;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    std::string const name(pairs[i].name);
    if (!copy_value(registry, key.get(), name, file, {section, name, types[i]})) return false;
  }
  return true;
}

// Of a task that lacks a required section, only the required ones that come before it by rank are
// written, wherever the file has them: a task without settings still keeps its classification, as a
// virus-scan task does.
bool import_sections(NvPoRegistry& registry, _NvPolComHandle* task, NvConfigFile const& file,
                     RequiredSections required) {
  std::size_t const missing = rank_of(required, [&](RequiredSection const& wanted) {
    return std::ranges::none_of(
        file.sections(), [&](Nvsectionpair const& held) { return wanted.is(held.getname()); });
  });
  for (Nvsectionpair const& held : file.sections()) {
    std::string const& section = held.getname();
    if (section == kCommon) continue;
    // Without a name, its values would be written over those of the task itself.
    if (section.find_first_not_of('\\') == std::string::npos) {
      log_error(kNamelessSectionCode, "a section of " + file.getname() + " has no name.");
      return false;
    }
    std::size_t const rank =
        rank_of(required, [&](RequiredSection const& wanted) { return wanted.is(section); });
    if (rank > missing) continue;
    if (!import_whole_section(registry, task, file, held)) return false;
  }
  if (missing == required.size()) return true;
  log_error(kMissingSectionCode, "read section " + std::string(required[missing].name) + " from " +
                                     file.getname() + " failed.");
  return false;
}

bool import_content_task(NvPoRegistry& registry, _NvPolComHandle* tasks_key, NvConfigFile& file,
                         RequiredSections required) {
  ValueTable head(kTaskHead);
  if (!head.read(file)) return false;
  RegistryKey task(registry, tasks_key, head.text(kTaskName), kTaskKeyCode);
  if (!task || !head.write(registry, task.get())) return false;
  return import_sections(registry, task.get(), file, required);
}

}  // namespace

bool import_task_cflt_adv(NvPoRegistry& registry, _NvPolComHandle* tasksKey, NvConfigFile& file) {
  return import_content_task(registry, tasksKey, file, kExpressionTask);
}

bool import_task_cflt_attachment(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                 NvConfigFile& file) {
  return import_content_task(registry, tasksKey, file, kAttachmentTask);
}

bool import_task_cflt_general(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                              NvConfigFile& file) {
  return import_content_task(registry, tasksKey, file, kGeneralTask);
}

bool import_task_cflt_size(NvPoRegistry& registry, _NvPolComHandle* tasksKey, NvConfigFile& file) {
  return import_content_task(registry, tasksKey, file, kSizeTask);
}

bool import_task_cflt_disclaimer(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                 NvConfigFile& file) {
  return import_content_task(registry, tasksKey, file, kDisclaimerTask);
}

bool import_task_old_anti_spam(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                               NvConfigFile& file) {
  return import_content_task(registry, tasksKey, file, kGeneralTask);
}
