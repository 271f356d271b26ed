// Rules and their conditions.

#include "buffers.h"
#include "nvrulehive_forms.h"
#include "textfield.h"

#include <stdio.h>

using zeva::append_names;
using zeva::fill_field;
using zeva::kMaxText;
using zeva::read_field;

namespace {

constexpr int kMaxConditions = 100;  // passed to the library in one call

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
  fill_field(condition.sender, from);
  fill_field(condition.recipient, to);
  return condition;
}

}  // namespace

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
  fill_field(attr.displayName, displayName, kMaxText);
  fill_field(attr.comment, comment, kMaxText);
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
    std::string const sender = read_field(condition.sender);
    std::string const recipient = read_field(condition.recipient);
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

void printRuleattr(_NvPolRuleAttr const& attr) {
  printf("displayName = %s\n", read_field(attr.displayName).c_str());
  printf("comment = %s\n", read_field(attr.comment).c_str());
  printf("matchType = %#010x\n", attr.matchType);
  printf("order = %d\n", attr.order);
}
