// What the operations of NvRuleHive share, for their source files alone.
#pragma once

#include "nvrulehive.h"

#include <string>

namespace zeva {

inline constexpr size_t kMaxText = 256;  // bytes written of a display name or a comment

}  // namespace zeva

// Runs an operation's handle form on the rule of that name and closes the rule, whatever came of
// it. A rule that cannot be opened is handed on as null, so that the operation records which one
// was in vain.
template <class Work>
long NvRuleHive::with_rule(std::string const& name, Work work) {
  _NvPolComHandle* rule = openRule(name);
  long const result = work(rule);
  if (!rule) return -1;
  long const closed = closeRule(rule);
  return closed < 0 && result >= 0 ? closed : result;
}

// Runs `work` on the rule's task and closes the task, whatever came of it.
template <class Work>
long NvRuleHive::with_task(_NvPolComHandle* rule, std::string const& task, Work work) {
  int32_t status = 0;
  _NvPolComHandle* opened = nvpol_openTask(rule, task.c_str(), &status);
  if (check_named(status, "nvpol_openTask", task) != 0) return -1;
  long const result = work(opened);
  long const closed = closeTask(opened);
  return closed < 0 && result >= 0 ? closed : result;
}
