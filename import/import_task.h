// The tasks of a policy: one export file each, copied into a key of its own below the policy's
// `tasks` key.
//
// The number `filter` of a task's file says what kind of task it is. A task importer gets the
// policy's open `tasks` key and the task's file, and returns false when something of the task could
// not be carried over; the run log then says what. What was written by then stays.
#pragma once

#include "task_keys.h"
#include "value_table.h"

#include <string>

// Imports the file `taskFile` of the package in `exportDir` with the importer of its kind.
// `policyPath` is the path of its policy: empty for the top one, else "\NAME" for each level below.
void import_task(std::string const& exportDir, NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                 std::string const& taskFile, std::string const& policyPath);

// Virus scan.
[[nodiscard]] bool import_task_virus(NvPoRegistry& reg, _NvPolComHandle* parent,
                                     NvConfigFile& file);

// Anti-spam, with the policy's white and black lists.
[[nodiscard]] bool import_task_spx(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                   NvConfigFile& taskConfig, std::string const& policyPath);

// Content filters by expressions, attachment types, general criteria and size, disclaimers, and the
// anti-spam task of the generation before.
[[nodiscard]] bool import_task_cflt_adv(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                        NvConfigFile& file);
[[nodiscard]] bool import_task_cflt_attachment(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                               NvConfigFile& file);
[[nodiscard]] bool import_task_cflt_general(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                            NvConfigFile& file);
[[nodiscard]] bool import_task_cflt_size(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                         NvConfigFile& file);
[[nodiscard]] bool import_task_cflt_disclaimer(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                               NvConfigFile& file);
[[nodiscard]] bool import_task_old_anti_spam(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                             NvConfigFile& file);

namespace zeva {

// The kinds of task by the number `filter`.
struct TaskKind {
  int filter;
  // Null for the anti-spam task, whose importer alone needs the policy's path.
  bool (*import)(NvPoRegistry&, _NvPolComHandle*, NvConfigFile&);
  std::span<ExportSection const> sections;    // what the file holds beside `common`, or,
  std::span<RequiredSection const> required;  // where it may hold anything, what it must hold
};
inline constexpr TaskKind kTaskKinds[] = {
    {kVirusTask, import_task_virus, kVirusSections, {}},
    {0x20001, import_task_cflt_adv, {}, kExpressionTask},
    {0x20002, import_task_cflt_attachment, {}, kAttachmentTask},
    {0x20003, import_task_cflt_general, {}, kGeneralTask},
    {0x20004, import_task_cflt_size, {}, kSizeTask},
    {0x20005, import_task_cflt_disclaimer, {}, kDisclaimerTask},
    {0x20006, import_task_old_anti_spam, {}, kGeneralTask},
    {kSpamTask, nullptr, kSpamSections, {}},
};

}  // namespace zeva
