// The tasks of a policy: one export file each, copied into a key of its own below the policy's
// `tasks` key.
//
// The number `filter` of a task's file says what kind of task it is. A task importer gets the
// policy's open `tasks` key and the task's file, and returns false when something of the task could
// not be carried over; the run log then says what. What was written by then stays.
#pragma once

#include "value_table.h"

#include <string>

// Imports the file `taskFile` of the package in `exportDir` with the importer of its kind.
// `policyPath` is the path of its policy: empty for the top one, else "\NAME" for each level below.
void import_task(std::string const& exportDir, NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                 std::string const& taskFile, std::string const& policyPath);

// Virus scan.
bool import_task_virus(NvPoRegistry& reg, _NvPolComHandle* parent, NvConfigFile& file);

// Anti-spam, with the policy's white and black lists.
bool import_task_spx(NvPoRegistry& registry, _NvPolComHandle* tasksKey, NvConfigFile& taskConfig,
                     std::string const& policyPath);

// Content filters by expressions, attachment types, general criteria and size, disclaimers, and the
// anti-spam task of the generation before.
bool import_task_cflt_adv(NvPoRegistry& registry, _NvPolComHandle* tasksKey, NvConfigFile& file);
bool import_task_cflt_attachment(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                 NvConfigFile& file);
bool import_task_cflt_general(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                              NvConfigFile& file);
bool import_task_cflt_size(NvPoRegistry& registry, _NvPolComHandle* tasksKey, NvConfigFile& file);
bool import_task_cflt_disclaimer(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                                 NvConfigFile& file);
bool import_task_old_anti_spam(NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                               NvConfigFile& file);

namespace zeva {

// What every kind of task has in its section `common`: the name of its key, and six values.
class TaskHead {
 public:
  [[nodiscard]] bool read(NvConfigFile const& file);
  [[nodiscard]] bool write(NvPoRegistry& registry, _NvPolComHandle* task);
  std::string const& name() const { return name_; }

 private:
  static constexpr ValueRow kRows[] = {
      {"order", VALUE_NUMBER},       {"filter", VALUE_NUMBER}, {"enable", VALUE_NUMBER},
      {"overridable", VALUE_NUMBER}, {"comment", VALUE_TEXT},  {"displayName", VALUE_TEXT},
  };

  std::string name_;
  ValueTable values_{"common", kRows};
};

}  // namespace zeva
