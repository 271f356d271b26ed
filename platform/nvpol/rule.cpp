// Rules, their conditions and their lists of inactive tasks.
#include "numberedtexts.h"
#include "records.h"
#include "rulelayout.h"
#include "textfield.h"

#include <algorithm>

using namespace zeva;

namespace {

NumberedTexts conditions_of(_NvPolComHandle* rule) {
  return {rule, kConditionStem};
}

[[nodiscard]] int32_t add_condition(_NvPolComHandle* rule, _NvPolAddrPairCond const* condition) {
  if (!condition) return NVREG_BAD_ARGUMENT;
  std::string const sender = read_field(condition->sender);
  if (sender.find(';') != std::string::npos) return NVREG_BAD_NAME;
  return conditions_of(rule).append({sender + ";" + read_field(condition->recipient)});
}

// A stored condition as it is handed out, each side cut to what fits.
_NvPolAddrPairCond condition_record(std::string const& text) {
  Condition const held(text);
  _NvPolAddrPairCond record;
  fill_field(record.sender, held.sender);
  fill_field(record.recipient, held.recipient);
  return record;
}

[[nodiscard]] int32_t fill_rule(_NvPolComHandle* rule, _NvPolRuleAttr const* attrib,
                                _NvPolAddrPairCond* const* conditions, uint32_t count) {
  if (count > 0 && !conditions) return NVREG_BAD_ARGUMENT;
  int32_t status = store_record(rule, attrib);
  for (uint32_t i = 0; i < count && status == NVREG_OK; ++i)
    status = add_condition(rule, conditions[i]);
  return status;
}

// "\Sales\Team" is Rule\Mail\rules\Sales\rules\Team.
std::string rule_path(std::string const& full_name) {
  std::string path = kRootRule;
  for (size_t begin = 0; begin < full_name.size();) {
    size_t const end = std::min(full_name.find('\\', begin), full_name.size());
    if (end > begin)
      path.append("\\").append(kRules).append("\\").append(full_name, begin, end - begin);
    begin = end + 1;
  }
  return path;
}

NumberedTexts::Predicate equal_to(char const* wanted) {
  return [wanted](std::string const& text) { return text == wanted; };
}

// Whether the rule lists the task as inactive.
[[nodiscard]] int32_t find_inactive(_NvPolComHandle* rule, char const* name, bool& listed) {
  KeyHandle list;
  int32_t status = list.open(rule, kInactive);
  uint32_t index = 0;
  if (status == NVREG_OK) status = NumberedTexts(list.get(), kInactive).find(equal_to(name), index);
  listed = status == NVREG_OK;
  return status == NVREG_NOT_FOUND ? NVREG_OK : status;
}

[[nodiscard]] int32_t set_inactive(_NvPolComHandle* rule, char const* name, bool inactive) {
  bool listed = false;
  int32_t status = check_object_name(name);
  if (status == NVREG_OK) status = check_present(rule);
  if (status == NVREG_OK) status = find_inactive(rule, name, listed);
  if (status != NVREG_OK || listed == inactive) return status;

  KeyHandle list;
  status = list.create(rule, kInactive);
  if (status != NVREG_OK) return status;
  NumberedTexts names(list.get(), kInactive);
  return inactive ? names.append({name}) : names.remove(equal_to(name));
}

}  // namespace

_NvPolComHandle* nvpol_openRuleHive(_NvPolComHandle* regkey, int32_t mode, int32_t* status) {
  if (mode == 0) return open_handle(regkey, "", status);
  *status = NVREG_BAD_ARGUMENT;
  return nullptr;
}

void nvpol_closeRuleHive(_NvPolComHandle* hive, int32_t* status) {
  close_handle(hive, status);
}

_NvPolComHandle* nvpol_openRootRule(_NvPolComHandle* hive, int32_t* status) {
  return open_handle(hive, kRootRule, status);
}

_NvPolComHandle* nvpol_openRuleByFullName(_NvPolComHandle* hive, const char* full_name,
                                          int32_t* status) {
  KeyHandle rule;
  guarded(status,
          [&] { return full_name ? rule.open(hive, rule_path(full_name)) : NVREG_BAD_ARGUMENT; });
  return rule.release();
}

_NvPolComHandle* nvpol_openRule(_NvPolComHandle* parent, const char* name, int32_t* status) {
  return open_object(parent, kRules, name, status);
}

_NvPolComHandle* nvpol_createRule(_NvPolComHandle* parent, const char* name,
                                  const _NvPolRuleAttr* attrib,
                                  _NvPolAddrPairCond* const* conditions, uint32_t count,
                                  int32_t* status) {
  return create_object(
      parent, kRules, name,
      [&](_NvPolComHandle* rule) { return fill_rule(rule, attrib, conditions, count); }, status);
}

void nvpol_closeRule(_NvPolComHandle* rule, int32_t* status) {
  close_handle(rule, status);
}

void nvpol_deleteRule(_NvPolComHandle* parent, const char* name, int32_t* status) {
  delete_object(parent, kRules, name, status);
}

void nvpol_enumRule(_NvPolComHandle* parent, uint32_t index, char* name, uint32_t* name_length,
                    int32_t* status) {
  enum_object(parent, kRules, index, name, name_length, status);
}

void nvpol_getRuleAttrib(_NvPolComHandle* rule, _NvPolRuleAttr* attrib, int32_t* status) {
  get_attributes(rule, attrib, status);
}

void nvpol_setRuleAttrib(_NvPolComHandle* rule, const _NvPolRuleAttr* attrib, int32_t* status) {
  set_attributes(rule, attrib, status);
}

void nvpol_setRuleOrder(_NvPolComHandle* parent, const char* name, int32_t order, int32_t* status) {
  set_order(parent, kRules, name, order, status);
}

void nvpol_addCondition(_NvPolComHandle* rule, const _NvPolAddrPairCond* condition,
                        int32_t* status) {
  guarded(status, [&] { return add_condition(rule, condition); });
}

void nvpol_removeCondition(_NvPolComHandle* rule, const _NvPolAddrPairCond* condition,
                           int32_t* status) {
  guarded(status, [&] {
    if (!condition) return NVREG_BAD_ARGUMENT;
    return conditions_of(rule).remove([&](std::string const& text) {
      _NvPolAddrPairCond const held = condition_record(text);
      return read_field(held.sender) == read_field(condition->sender) &&
             read_field(held.recipient) == read_field(condition->recipient);
    });
  });
}

void nvpol_enumCondition(_NvPolComHandle* rule, uint32_t index, _NvPolAddrPairCond* condition,
                         int32_t* status) {
  guarded(status, [&] {
    if (!condition) return NVREG_BAD_ARGUMENT;
    std::string text;
    int32_t found = conditions_of(rule).get(index, text);
    if (found != NVREG_OK) return found;
    *condition = condition_record(text);
    return NVREG_OK;
  });
}

void nvpol_inactivateTask(_NvPolComHandle* rule, const char* name, int32_t inactive,
                          int32_t* status) {
  guarded(status, [&] { return set_inactive(rule, name, inactive != 0); });
}

int32_t nvpol_isTaskActive(_NvPolComHandle* rule, const char* name, int32_t* status) {
  bool inactive = false;
  guarded(status, [&] {
    int32_t found = check_object_name(name);
    if (found == NVREG_OK) found = check_present(rule);
    return found == NVREG_OK ? find_inactive(rule, name, inactive) : found;
  });
  return *status == NVREG_OK && !inactive;
}
