// The outcomes of tasks: which classification a finding leads to.

#include "nvrulehive_forms.h"

using zeva::read_texts;
using zeva::TextBuffer;

long NvRuleHive::addoutcome(_NvPolComHandle* task, std::string const& name,
                            std::string const& value) {
  if (missing(task, "addoutcome hTask")) return -1;
  int32_t status = 0;
  nvpol_addOutcome(task, name.c_str(), value.c_str(), &status);
  return check(status, "nvpol_addOutcome");
}

long NvRuleHive::addoutcomes(_NvPolComHandle* task, Outcomes const& outcomes) {
  if (missing(task, "addoutcome hTask")) return -1;
  for (auto const& [name, value] : outcomes)
    if (addoutcome(task, name, value) < 0) return -1;
  return 0;
}

long NvRuleHive::addoutcomes(_NvPolComHandle* rule, std::string const& task,
                             Outcomes const& outcomes) {
  if (missing(rule, "addoutcome hRule") || missing(task, "taskname")) return -1;
  return with_task(rule, task,
                   [&](_NvPolComHandle* opened) { return addoutcomes(opened, outcomes); });
}

long NvRuleHive::addoutcomes(std::string const& rule, std::string const& task,
                             Outcomes const& outcomes) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return addoutcomes(opened, task, outcomes); });
}

long NvRuleHive::addoutcome(_NvPolComHandle* rule, std::string const& task, std::string const& name,
                            std::string const& value) {
  return addoutcomes(rule, task, {{name, value}});
}

long NvRuleHive::addoutcome(std::string const& rule, std::string const& task,
                            std::string const& name, std::string const& value) {
  return addoutcomes(rule, task, {{name, value}});
}

long NvRuleHive::deleteoutcome(_NvPolComHandle* task, std::string const& name) {
  if (missing(task, "deleteoutcome hTask")) return -1;
  int32_t status = 0;
  nvpol_deleteOutcome(task, name.c_str(), &status);
  return check_named(status, "nvpol_deleteOutcome", name);
}

long NvRuleHive::deleteoutcome(_NvPolComHandle* rule, std::string const& task,
                               std::string const& name) {
  if (missing(rule, "deleteoutcome hRule") || missing(task, "taskname")) return -1;
  return with_task(rule, task,
                   [&](_NvPolComHandle* opened) { return deleteoutcome(opened, name); });
}

long NvRuleHive::deleteoutcome(std::string const& rule, std::string const& task,
                               std::string const& name) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return deleteoutcome(opened, task, name); });
}

long NvRuleHive::getoutcomes(_NvPolComHandle* task, Outcomes& outcomes) {
  if (missing(task, "getoutcome hTask")) return -1;
  long result = 0;
  TextBuffer name;
  TextBuffer value;
  for (uint32_t index = 0;; ++index) {
    auto enumerate = [&](int32_t* status) {
      nvpol_enumOutcome(task, index, name.data(), &name.length, value.data(), &value.length,
                        status);
    };
    int32_t const status = read_texts(enumerate, name, value);
    if (status == NVREG_END_OF_LIST) return result;
    if (check(status, "nvpol_enumOutcome") != 0) return -1;
    if (missing(name.text(), "setoutcomes get task")) {
      result = -1;
    } else {
      outcomes[name.text()] = value.text();
    }
  }
}

long NvRuleHive::getoutcomes(_NvPolComHandle* rule, std::string const& task, Outcomes& outcomes) {
  if (missing(rule, "getoutcome hRule") || missing(task, "taskname")) return -1;
  return with_task(rule, task,
                   [&](_NvPolComHandle* opened) { return getoutcomes(opened, outcomes); });
}

long NvRuleHive::getoutcomes(std::string const& rule, std::string const& task, Outcomes& outcomes) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return getoutcomes(opened, task, outcomes); });
}

long NvRuleHive::getoutcome(_NvPolComHandle* task, Outcomes& outcomes) {
  if (missing(task, "getoutcome hTask")) return -1;
  TextBuffer text;
  for (auto& outcome : outcomes) {
    auto get = [&](int32_t* status) {
      nvpol_getOutcome(task, outcome.first.c_str(), text.data(), &text.length, status);
    };
    int32_t const status = read_texts(get, text);
    if (status != NVREG_NOT_FOUND && check(status, "nvpol_getOutcome") != 0) return -1;
    outcome.second = status == NVREG_NOT_FOUND ? "void" : text.text();
  }
  return 0;
}

long NvRuleHive::getoutcome(_NvPolComHandle* rule, std::string const& task, Outcomes& outcomes) {
  if (missing(rule, "getoutcome hRule") || missing(task, "getoutcome taskname")) return -1;
  return with_task(rule, task,
                   [&](_NvPolComHandle* opened) { return getoutcome(opened, outcomes); });
}

long NvRuleHive::getoutcome(std::string const& rule, std::string const& task, Outcomes& outcomes) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return getoutcome(opened, task, outcomes); });
}
