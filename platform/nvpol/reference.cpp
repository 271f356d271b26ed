// Which rule refers to a classification or an address list.
#include "numberedtexts.h"
#include "objects.h"
#include "rulelayout.h"

#include <vector>

using namespace zeva;

namespace {

// The names of all objects under a container, which may be missing.
[[nodiscard]] int32_t list_objects(_NvPolComHandle* parent, char const* container,
                                   std::vector<std::string>& names) {
  KeyHandle key;
  int32_t status = key.open(parent, container);
  if (status == NVREG_NOT_FOUND) return NVREG_OK;
  char name[NVREG_MAX_NAME + 1];
  for (uint32_t i = 0; status == NVREG_OK; ++i) {
    uint32_t length = sizeof name;
    nvreg_enumSubkey(key.get(), i, name, &length, &status);
    if (status == NVREG_OK) names.emplace_back(name, length);
  }
  return status == NVREG_END_OF_LIST ? NVREG_OK : status;
}

// The searches answer NVREG_OK when the rule refers to the name, NVREG_NOT_FOUND when it does not.

[[nodiscard]] int32_t find_outcome(_NvPolComHandle* rule, std::string const& task,
                                   char const* classification) {
  KeyHandle outcomes;
  int32_t status = outcomes.open(rule, std::string(kTasks) + "\\" + task + "\\" + kOutcomes);
  std::string name;
  std::string value;
  for (uint32_t i = 0; status == NVREG_OK; ++i) {
    status = enum_text(outcomes.get(), i, name, value);
    if (status == NVREG_OK && value == classification) return NVREG_OK;
  }
  return status == NVREG_END_OF_LIST ? NVREG_NOT_FOUND : status;
}

[[nodiscard]] int32_t find_in_outcomes(_NvPolComHandle* rule, char const* classification) {
  std::vector<std::string> tasks;
  int32_t status = list_objects(rule, kTasks, tasks);
  if (status != NVREG_OK) return status;
  for (std::string const& task : tasks) {
    status = find_outcome(rule, task, classification);
    if (status != NVREG_NOT_FOUND) return status;
  }
  return NVREG_NOT_FOUND;
}

[[nodiscard]] int32_t find_in_conditions(_NvPolComHandle* rule, char const* list) {
  uint32_t index = 0;
  return NumberedTexts(rule, kConditionStem)
      .find(
          [list](std::string const& text) {
            Condition const condition(text);
            return condition.sender == list || condition.recipient == list;
          },
          index);
}

// Searches the rules from the root on; a list of paths to come instead of calls in calls, as policy
// trees may be of any depth. `rule_name` receives the name of the rule that refers to the name.
[[nodiscard]] int32_t find_in_rules(_NvPolComHandle* regkey, char const* iname,
                                    int32_t (*find)(_NvPolComHandle*, char const*),
                                    std::string& rule_name) {
  std::vector<std::string> pending{kRootRule};
  while (!pending.empty()) {
    std::string const path = std::move(pending.back());
    pending.pop_back();
    KeyHandle rule;
    int32_t status = rule.open(regkey, path);
    if (status == NVREG_NOT_FOUND) continue;  // a store without rules, or deleted meanwhile
    if (status == NVREG_OK) status = find(rule.get(), iname);
    if (status == NVREG_OK) rule_name = path.substr(path.rfind('\\') + 1);
    if (status != NVREG_NOT_FOUND) return status;

    std::vector<std::string> names;
    status = list_objects(rule.get(), kRules, names);
    if (status != NVREG_OK) return status;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
      pending.push_back(path + "\\" + kRules + "\\" + *name);
  }
  return NVREG_NOT_FOUND;
}

[[nodiscard]] bool check_refer(_NvPolComHandle* regkey, int32_t kind, char const* iname, char* name,
                               uint32_t* name_length, int32_t& status) {
  if (!iname || !name || !name_length || *name_length == 0 ||
      (kind != NVPOL_REFER_CLASSIFICATION && kind != NVPOL_REFER_ADDRESS_LIST)) {
    status = NVREG_BAD_ARGUMENT;
    return false;
  }
  status = check_present(regkey);
  if (status != NVREG_OK) return false;
  std::string rule_name;
  status = find_in_rules(regkey, iname,
                         kind == NVPOL_REFER_CLASSIFICATION ? find_in_outcomes : find_in_conditions,
                         rule_name);
  bool const found = status == NVREG_OK;
  if (status == NVREG_NOT_FOUND) status = NVREG_OK;
  if (found) status = copy_out(rule_name.substr(0, *name_length - 1), name, name_length);
  return found;
}

}  // namespace

int32_t nvpol_checkReferInRule(_NvPolComHandle* regkey, int32_t kind, const char* iname, char* name,
                               uint32_t* name_length, int32_t* status) {
  bool found = false;
  guarded(status, [&] {
    int32_t checked = NVREG_OK;
    found = check_refer(regkey, kind, iname, name, name_length, checked);
    return checked;
  });
  return found;
}
