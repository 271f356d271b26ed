// The tasks of rules.

#include "nvrulehive_forms.h"
#include "textfield.h"

#include <stdio.h>

using zeva::append_names;
using zeva::fill_field;
using zeva::kMaxText;
using zeva::read_field;

long NvRuleHive::createTask(_NvPolComHandle* rule, std::string const& name,
                            std::string const& displayName, std::string const& comment,
                            uint32_t filter) {
  if (missing(rule, "createTask htRule") || missing(name, "createTask Taskname")) return -1;
  _NvPolTaskAttr attr{};
  fill_field(attr.displayName, displayName, kMaxText);
  fill_field(attr.comment, comment, kMaxText);
  attr.filter = filter;
  int32_t status = 0;
  _NvPolComHandle* task = nvpol_createTask(rule, name.c_str(), &attr, &status);
  return check_named(status, "nvpol_createTask", name) == 0 ? closeTask(task) : -1;
}

long NvRuleHive::createTask(std::string const& rule, std::string const& name,
                            std::string const& displayName, std::string const& comment,
                            uint32_t filter) {
  return with_rule(rule, [&](_NvPolComHandle* opened) {
    return createTask(opened, name, displayName, comment, filter);
  });
}

long NvRuleHive::deleteTask(_NvPolComHandle* rule, std::string const& name) {
  if (missing(rule, "deleteTask hdl") || missing(name, "deleteTask taskname")) return -1;
  int32_t status = 0;
  nvpol_deleteTask(rule, name.c_str(), &status);
  return check_named(status, "nvpol_deleteTask", name);
}

long NvRuleHive::deleteTask(std::string const& rule, std::string const& name) {
  return with_rule(rule, [&](_NvPolComHandle* opened) { return deleteTask(opened, name); });
}

long NvRuleHive::GetAllTaskName(_NvPolComHandle* rule, Texts& names) {
  if (missing(rule, "GetAllTaskName htRule")) return -1;
  Texts found;
  bool at_first = false;
  int32_t const status = append_names(nvpol_enumTask, rule, found, at_first);
  long result = status == NVREG_END_OF_LIST ? 0 : check(status, "nvpol_enumTask");
  for (std::string const& name : found) {
    if (missing(name, "Get task name")) {
      result = -1;
    } else {
      names.push_back(name);
    }
  }
  return result;
}

long NvRuleHive::GetAllTaskName(std::string const& rule, Texts& names) {
  return with_rule(rule, [&](_NvPolComHandle* opened) { return GetAllTaskName(opened, names); });
}

long NvRuleHive::GetTaskAttrib(_NvPolComHandle* rule, std::string const& task,
                               _NvPolTaskAttr& attr) {
  if (missing(rule, "GetTaskAttrib htRule")) return -1;
  return with_task(rule, task, [&](_NvPolComHandle* opened) {
    int32_t status = 0;
    nvpol_getTaskAttrib(opened, &attr, &status);
    return check(status, "nvpol_getTaskAttrib");
  });
}

long NvRuleHive::GetTaskAttrib(std::string const& rule, std::string const& task,
                               _NvPolTaskAttr& attr) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return GetTaskAttrib(opened, task, attr); });
}

long NvRuleHive::SetTaskAttrib(_NvPolComHandle* rule, std::string const& task,
                               _NvPolTaskAttr const& attr) {
  if (missing(rule, "SetTaskAttrib hdl")) return -1;
  return with_task(rule, task, [&](_NvPolComHandle* opened) {
    int32_t status = 0;
    nvpol_setTaskAttrib(opened, &attr, &status);
    return check(status, "nvpol_setTaskAttrib");
  });
}

long NvRuleHive::SetTaskAttrib(std::string const& rule, std::string const& task,
                               _NvPolTaskAttr const& attr) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return SetTaskAttrib(opened, task, attr); });
}

long NvRuleHive::GetTasksAttrib(_NvPolComHandle* rule, std::vector<_NvPolTaskAttr>& attrs) {
  Texts tasks;
  long const result = GetAllTaskName(rule, tasks);
  for (std::string const& task : tasks) {
    _NvPolTaskAttr attr;
    if (GetTaskAttrib(rule, task, attr) < 0) return -1;
    attrs.push_back(attr);
  }
  return result;
}

long NvRuleHive::GetTasksAttrib(std::string const& rule, std::vector<_NvPolTaskAttr>& attrs) {
  return with_rule(rule, [&](_NvPolComHandle* opened) { return GetTasksAttrib(opened, attrs); });
}

long NvRuleHive::settaskorder(_NvPolComHandle* rule, std::string const& task, int32_t order) {
  return set_order({"settaskorder", nvpol_setTaskOrder, "nvpol_setTaskOrder"}, rule, task, order);
}

long NvRuleHive::settaskorder(std::string const& rule, std::string const& task, int32_t order) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return settaskorder(opened, task, order); });
}

long NvRuleHive::inactivetask(_NvPolComHandle* rule, std::string const& task, bool inactive) {
  if (missing(rule, "inactivetask hRule") || missing(task, "inactivetask taskname")) return -1;
  int32_t status = 0;
  nvpol_inactivateTask(rule, task.c_str(), inactive, &status);
  return check(status, "nvpol_inactiveTask");
}

long NvRuleHive::inactivetask(std::string const& rule, std::string const& task, bool inactive) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return inactivetask(opened, task, inactive); });
}

long NvRuleHive::istaskactive(_NvPolComHandle* rule, std::string const& task) {
  if (missing(rule, "istaskactive hRule") || missing(task, "istaskactive taskname")) return -1;
  int32_t status = 0;
  long const active = nvpol_isTaskActive(rule, task.c_str(), &status);
  return check(status, "nvpol_isTaskActive") == 0 ? active : -1;
}

long NvRuleHive::istaskactive(std::string const& rule, std::string const& task) {
  return with_rule(rule, [&](_NvPolComHandle* opened) { return istaskactive(opened, task); });
}

void printTaskattr(_NvPolTaskAttr const& attr) {
  printf("displayName = %s\n", read_field(attr.displayName).c_str());
  printf("comment = %s\n", read_field(attr.comment).c_str());
  printf("filter = %#010x\n", attr.filter);
  printf("order = %d\n", attr.order);
  printf("enable = %d\n", attr.enable);
  printf("overridable = %d\n", attr.overridable);
}
