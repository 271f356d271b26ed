#include "nvrulehive.h"

#include "buffers.h"

#include <stdio.h>

#include <utility>

using zeva::append_names;
using zeva::field_text;
using zeva::read_texts;
using zeva::set_field;
using zeva::TextBuffer;

namespace {

constexpr int kMaxConditions = 100;  // passed to the library in one call
constexpr size_t kMaxText = 256;     // bytes written of a display name or a comment

// The conditions of a new rule, as the library takes them.
class Conditions {
 public:
  explicit Conditions(size_t count) { made_ = createConds(slots_, static_cast<int>(count)) == 0; }
  ~Conditions() { clearConds(slots_); }
  Conditions(Conditions const&) = delete;
  Conditions& operator=(Conditions const&) = delete;

  bool made() const { return made_; }
  _NvPolAddrPairCond* const* slots() const { return slots_; }

 private:
  _NvPolAddrPairCond* slots_[kMaxConditions + 1] = {};
  bool made_;
};

_NvPolAddrPairCond pair_of(std::string const& from, std::string const& to) {
  _NvPolAddrPairCond condition;
  set_field(condition.sender, from);
  set_field(condition.recipient, to);
  return condition;
}

}  // namespace

NvRuleHive::NvRuleHive(std::string const& key, std::string const& file) {
  setfile(key, file);
}

NvRuleHive::~NvRuleHive() {
  if (root_) closeRule(root_);
  closeRuleHive();
  close_key();
}

void NvRuleHive::setfile(std::string const& key, std::string const& file) {
  if (root_) closeRule(std::exchange(root_, nullptr));
  closeRuleHive();
  if (regkey_) close_key();
  if (!open_key(key, file)) return;
  int32_t status = 0;
  hive_ = nvpol_openRuleHive(regkey_, 0, &status);
  if (check(status, "nvpol_openRuleHive") != 0) return;
  root_ = nvpol_openRootRule(hive_, &status);
  check(status, "nvpol_openRootRule");
}

long NvRuleHive::closeRuleHive() {
  if (!hive_) return 0;
  int32_t status = 0;
  nvpol_closeRuleHive(std::exchange(hive_, nullptr), &status);
  return check(status, "nvpol_closeRuleHive");
}

_NvPolComHandle* NvRuleHive::openRule(std::string const& name) {
  if (missing(hive_, "ahive") || missing(root_, "hRootRule")) return nullptr;
  int32_t status = 0;
  if (name.find('\\') != std::string::npos) {
    _NvPolComHandle* rule = nvpol_openRuleByFullName(hive_, name.c_str(), &status);
    return check_named(status, "nvpol_openRuleByFullName", name) == 0 ? rule : nullptr;
  }
  _NvPolComHandle* rule = nvpol_openRule(root_, name.c_str(), &status);
  return check_named(status, "nvpol_openRule", name, "REG_FILE") == 0 ? rule : nullptr;
}

long NvRuleHive::closeRule(_NvPolComHandle* rule) {
  if (missing(rule, "closeRule hdl")) return -1;
  int32_t status = 0;
  nvpol_closeRule(rule, &status);
  return check(status, "nvpol_closeRule");
}

long NvRuleHive::closeTask(_NvPolComHandle* task) {
  if (missing(task, "closeTask hdl")) return -1;
  int32_t status = 0;
  nvpol_closeTask(task, &status);
  return check(status, "nvpol_closeTask", "REG_FILE2");
}

// Runs an operation's handle form on the rule of that name and closes the rule, whatever came of
// it. A rule that cannot be opened is handed on as null, so that the operation records which one
// was in vain.
template <typename Work>
long NvRuleHive::with_rule(std::string const& name, Work work) {
  _NvPolComHandle* rule = openRule(name);
  long const result = work(rule);
  if (!rule) return -1;
  long const closed = closeRule(rule);
  return closed < 0 && result >= 0 ? closed : result;
}

// Runs work on the rule's task and closes the task, whatever came of it.
template <typename Work>
long NvRuleHive::with_task(_NvPolComHandle* rule, std::string const& task, Work work) {
  int32_t status = 0;
  _NvPolComHandle* opened = nvpol_openTask(rule, task.c_str(), &status);
  if (check_named(status, "nvpol_openTask", task) != 0) return -1;
  long const result = work(opened);
  long const closed = closeTask(opened);
  return closed < 0 && result >= 0 ? closed : result;
}

// Rules.

bool NvRuleHive::pairs_fit(Texts const& from, Texts const& to) {
  if (from.size() == to.size() && from.size() <= kMaxConditions) return true;
  seterrorname(from.size() != to.size() ? "REG_SIZE1" : "REG_SIZE2", "createRule:");
  return false;
}

long NvRuleHive::createRule(_NvPolComHandle*& created, _NvPolComHandle* parent,
                            std::string const& name, std::string const& displayName,
                            std::string const& comment, Texts const& from, Texts const& to) {
  if (missing(parent, "createRule htRule") || !pairs_fit(from, to)) return -1;
  Conditions conditions(from.size());
  if (!conditions.made()) return check_named(NVREG_NO_MEMORY, "nvpol_createRule", name);
  for (size_t i = 0; i < from.size(); ++i) *conditions.slots()[i] = pair_of(from[i], to[i]);

  _NvPolRuleAttr attr{};
  set_field(attr.displayName, displayName, kMaxText);
  set_field(attr.comment, comment, kMaxText);
  int32_t status = 0;
  _NvPolComHandle* rule = nvpol_createRule(parent, name.c_str(), &attr, conditions.slots(),
                                           static_cast<uint32_t>(from.size()), &status);
  if (check_named(status, "nvpol_createRule", name) != 0) return -1;
  created = rule;
  return 0;
}

long NvRuleHive::createRule(_NvPolComHandle*& created, std::string const& parent,
                            std::string const& name, std::string const& displayName,
                            std::string const& comment, Texts const& from, Texts const& to) {
  if (!pairs_fit(from, to)) return -1;  // before the library is called for the parent
  return with_rule(parent, [&](_NvPolComHandle* rule) {
    return createRule(created, rule, name, displayName, comment, from, to);
  });
}

long NvRuleHive::createRule(_NvPolComHandle*& created, _NvPolComHandle* parent,
                            std::string const& name, std::string const& displayName,
                            std::string const& comment, std::string const& from,
                            std::string const& to) {
  return createRule(created, parent, name, displayName, comment, Texts{from}, Texts{to});
}

long NvRuleHive::createRule(_NvPolComHandle*& created, std::string const& parent,
                            std::string const& name, std::string const& displayName,
                            std::string const& comment, std::string const& from,
                            std::string const& to) {
  return createRule(created, parent, name, displayName, comment, Texts{from}, Texts{to});
}

long NvRuleHive::deleteRule(_NvPolComHandle* parent, std::string const& name) {
  if (missing(parent, "deleteRule hdl") || missing(name, "deleteRule rulename")) return -1;
  int32_t status = 0;
  nvpol_deleteRule(parent, name.c_str(), &status);
  return check_named(status, "nvpol_deleteRule", name);
}

long NvRuleHive::deleteRule(std::string const& parent, std::string const& name) {
  return with_rule(parent, [&](_NvPolComHandle* rule) { return deleteRule(rule, name); });
}

long NvRuleHive::GetAllSubRuleName(_NvPolComHandle* parent, Texts& names) {
  if (missing(parent, "GetAllSubRuleName hParent")) return -1;
  bool at_first = false;
  int32_t const status = append_names(nvpol_enumRule, parent, names, at_first);
  if (at_first) {
    seterror("REG_NOSUBPOLICY");
    return -1;
  }
  return status == NVREG_END_OF_LIST ? 0 : check(status, "nvpol_enumRule");
}

long NvRuleHive::GetAllSubRuleName(std::string const& parent, Texts& names) {
  return with_rule(parent, [&](_NvPolComHandle* rule) { return GetAllSubRuleName(rule, names); });
}

long NvRuleHive::GetAllSubRuleName(Texts& names) {
  return GetAllSubRuleName(root_, names);
}

long NvRuleHive::GetRuleAttrib(_NvPolComHandle* rule, _NvPolRuleAttr& attr) {
  if (missing(rule, "GetRuleAttrib htRule")) return -1;
  int32_t status = 0;
  nvpol_getRuleAttrib(rule, &attr, &status);
  return check(status, "nvpol_getRuleAttrib");
}

long NvRuleHive::GetRuleAttrib(std::string const& rule, _NvPolRuleAttr& attr) {
  return with_rule(rule, [&](_NvPolComHandle* opened) {
    return missing(opened, "GetRuleAttrib hRule") ? -1 : GetRuleAttrib(opened, attr);
  });
}

long NvRuleHive::SetRuleAttrib(_NvPolComHandle* rule, _NvPolRuleAttr const& attr) {
  if (missing(rule, "SetRuleAttrib hRule")) return -1;
  int32_t status = 0;
  nvpol_setRuleAttrib(rule, &attr, &status);
  return check(status, "nvpol_setRuleAttrib");
}

long NvRuleHive::SetRuleAttrib(std::string const& rule, _NvPolRuleAttr const& attr) {
  return with_rule(rule, [&](_NvPolComHandle* opened) { return SetRuleAttrib(opened, attr); });
}

long NvRuleHive::setruleorder(_NvPolComHandle* parent, std::string const& rule, int32_t order) {
  return set_order({"setruleorder", nvpol_setRuleOrder, "nvpol_setRuleOrder"}, parent, rule, order);
}

long NvRuleHive::setruleorder(std::string const& parent, std::string const& rule, int32_t order) {
  return with_rule(parent,
                   [&](_NvPolComHandle* opened) { return setruleorder(opened, rule, order); });
}

long NvRuleHive::set_order(OrderCall const& call, _NvPolComHandle* parent, std::string const& name,
                           int32_t order) {
  if (missing(parent, (call.operation + " hParent").c_str())) return -1;
  if (order <= 0) {
    seterrorname("REG_POSITIVE", call.operation + ": order");
    return -1;
  }
  if (missing(name, (call.operation + " iname").c_str())) return -1;
  int32_t status = 0;
  call.function(parent, name.c_str(), order, &status);
  return check(status, call.name);
}

// Conditions.

long NvRuleHive::AddCondition(_NvPolComHandle* rule, std::string const& from,
                              std::string const& to) {
  if (missing(rule, "AddCondition hRule")) return -1;
  _NvPolAddrPairCond const condition = pair_of(from, to);
  int32_t status = 0;
  nvpol_addCondition(rule, &condition, &status);
  return check(status, "nvpol_addCondition");
}

long NvRuleHive::AddCondition(std::string const& rule, std::string const& from,
                              std::string const& to) {
  return with_rule(rule, [&](_NvPolComHandle* opened) { return AddCondition(opened, from, to); });
}

long NvRuleHive::RemoveCondition(_NvPolComHandle* rule, std::string const& from,
                                 std::string const& to) {
  if (missing(rule, "RemoveCondition hRule")) return -1;
  _NvPolAddrPairCond const condition = pair_of(from, to);
  int32_t status = 0;
  nvpol_removeCondition(rule, &condition, &status);
  return check(status, "nvpol_removeCondition");
}

long NvRuleHive::RemoveCondition(std::string const& rule, std::string const& from,
                                 std::string const& to) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return RemoveCondition(opened, from, to); });
}

long NvRuleHive::GetAllConditions(_NvPolComHandle* rule, Texts& from, Texts& to) {
  if (missing(rule, "GetAllCondition hRule")) return -1;
  long result = 0;
  for (uint32_t index = 0;; ++index) {
    _NvPolAddrPairCond condition{};
    int32_t status = 0;
    nvpol_enumCondition(rule, index, &condition, &status);
    if (status == NVREG_END_OF_LIST) return result;
    if (check(status, "nvpol_enumCondition") != 0) return -1;
    std::string const sender = field_text(condition.sender);
    std::string const recipient = field_text(condition.recipient);
    if (missing(sender + recipient, "Get condition")) {
      result = -1;
    } else {
      from.push_back(sender);
      to.push_back(recipient);
    }
  }
}

long NvRuleHive::GetAllConditions(std::string const& rule, Texts& from, Texts& to) {
  return with_rule(rule,
                   [&](_NvPolComHandle* opened) { return GetAllConditions(opened, from, to); });
}

// Tasks.

long NvRuleHive::createTask(_NvPolComHandle* rule, std::string const& name,
                            std::string const& displayName, std::string const& comment,
                            uint32_t filter) {
  if (missing(rule, "createTask htRule") || missing(name, "createTask Taskname")) return -1;
  _NvPolTaskAttr attr{};
  set_field(attr.displayName, displayName, kMaxText);
  set_field(attr.comment, comment, kMaxText);
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

// Outcomes.

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

void printTaskattr(_NvPolTaskAttr const& attr) {
  printf("displayName = %s\n", field_text(attr.displayName).c_str());
  printf("comment = %s\n", field_text(attr.comment).c_str());
  printf("filter = %#010x\n", attr.filter);
  printf("order = %d\n", attr.order);
  printf("enable = %d\n", attr.enable);
  printf("overridable = %d\n", attr.overridable);
}

void printRuleattr(_NvPolRuleAttr const& attr) {
  printf("displayName = %s\n", field_text(attr.displayName).c_str());
  printf("comment = %s\n", field_text(attr.comment).c_str());
  printf("matchType = %#010x\n", attr.matchType);
  printf("order = %d\n", attr.order);
}
