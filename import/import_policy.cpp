// The policy tree: a file for the top policy, one for each policy below it, one for each task.
//
// A policy's key holds its attributes and conditions, and the keys `inactive`, `tasks` and `rules`;
// the policies below it are keys of its `rules`. What cannot be read is left out with all that is
// below it, and a policy whose attributes cannot be stored is taken out again: half a policy could
// match the wrong mail.
#include "export_file.h"
#include "import_task.h"
#include "importers.h"
#include "package_names.h"
#include "policy_keys.h"
#include "value_table.h"

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

using namespace zeva;

namespace {

// The policy files at work, from the top one down to the innermost, each with the policies below it
// that are still to come. Trees may be nested deeper than the stack reaches, so this chain is kept
// on the heap; and as a path grows with every level, the levels share one and hold no open key.
struct PolicyLevel {
  NvConfigFile config;
  FileIdentity file;
  int sub_policies;                // how many policies the file names below it
  int next;                        // the number of the next of them, from 1
  std::size_t key_path_length;     // of the tree's key_path, up to this policy's `rules`
  std::size_t policy_path_length;  // of the tree's policy_path, up to this policy
};

struct PolicyTree {
  NvPoRegistry& registry;
  _NvPolComHandle* parent_key;  // of the top policy
  std::string const& export_dir;
  std::string key_path;     // below parent_key, up to the key that the next policy's key goes into
  std::string policy_path;  // of the next policy
  std::deque<PolicyLevel> levels;
};

// Reads a policy's file into `level`, or logs that it cannot be read. A file that is its own
// ancestor has no end, and counts as unreadable however it is spelt.
bool read_policy_file(PolicyTree const& tree, std::string const& filename, PolicyLevel& level) {
  if (!read_export_file(level.config, tree.export_dir, filename, 187, &level.file)) return false;
  if (std::ranges::find(tree.levels, level.file, &PolicyLevel::file) == tree.levels.end()) {
    return true;
  }
  log_unreadable(187, tree.export_dir, filename);
  return false;
}

// Copies the texts of a section whose one key is numbered, up to number `count`. The first that
// cannot be read is the last that is looked at.
void import_numbered_texts(NvPoRegistry& registry, _NvPolComHandle* key, NvConfigFile const& config,
                           ExportSection const& section, int count) {
  ExportKey const& item = section.keys.front();
  for (int i = 0; i < count; ++i) {
    std::string const name = numbered(item.name, i + 1);
    std::string text;
    if (!read_data(config, section.name, name, item.type, &text, false)) return;
    // One that cannot be written has been logged, and does not cost the next.
    (void)write_data(registry, key, name, item.type, &text);
  }
}

void import_condition(NvPoRegistry& registry, _NvPolComHandle* policy_key,
                      NvConfigFile const& policy_config, int count) {
  import_numbered_texts(registry, policy_key, policy_config, kConditions, count);
}

void import_inactive_tasks(NvPoRegistry& registry, _NvPolComHandle* inactive_key,
                           NvConfigFile const& policy_config, int count) {
  import_numbered_texts(registry, inactive_key, policy_config, kInactiveTasks, count);
}

void import_tasks(std::string const& export_dir, NvPoRegistry& registry, _NvPolComHandle* tasks_key,
                  NvConfigFile const& policy_config, int count, std::string const& policy_path) {
  for (int i = 0; i < count; ++i) {
    ValueTable task(numbered(kTask.name, i + 1), kTask.keys);
    if (!task.read(policy_config)) return;
    import_task(export_dir, registry, tasks_key, task.text(kTaskFileName), policy_path);
  }
}

// Imports the policy of one file, and leaves its own sub-policies to come.
void import_policy_file(PolicyTree& tree, std::string const& filename) {
  PolicyLevel level;
  ValueTable values(kPolicy);
  NvConfigFile const& config = level.config;
  if (!read_policy_file(tree, filename, level) || !values.read(config)) return;
  std::string const& name = values.text(kPolicyName);
  tree.key_path += name;
  RegistryKey policy(tree.registry, tree.parent_key, tree.key_path, 203);
  if (!policy) return;
  if (!values.write(tree.registry, policy.get())) {
    // A policy without a name has no key of its own to take out.
    if (name.find_first_not_of('\\') != std::string::npos) {
      (void)delete_keys(tree.registry, tree.parent_key, {tree.key_path}, "Error", 211);
    }
    return;
  }

  if (RegistryKey inactive(tree.registry, policy.get(), kInactiveTasks.stored_in, 242); inactive) {
    import_inactive_tasks(tree.registry, inactive.get(), config, values.count(kInactiveCount));
  }
  import_condition(tree.registry, policy.get(), config, values.count(kConditionCount));
  if (RegistryKey tasks(tree.registry, policy.get(), kTaskHead.stored_in, 267); tasks) {
    import_tasks(tree.export_dir, tree.registry, tasks.get(), config, values.count(kTaskCount),
                 tree.policy_path);
  }
  RegistryKey rules(tree.registry, policy.get(), kSubPolicies, 285);
  if (!rules) return;
  tree.key_path += std::string("\\") + kSubPolicies + "\\";
  level.sub_policies = values.count(kSubPolicyCount);
  level.next = 1;
  level.key_path_length = tree.key_path.size();
  level.policy_path_length = tree.policy_path.size();
  tree.levels.push_back(std::move(level));
}

// Imports the next policy below the innermost one, or leaves that one when no more are named.
void import_sub_policy(PolicyTree& tree) {
  PolicyLevel& level = tree.levels.back();
  tree.key_path.resize(level.key_path_length);
  tree.policy_path.resize(level.policy_path_length);
  int const number = level.next++;
  ValueTable values(numbered(kSubPolicy.name, number), kSubPolicy.keys);
  if (number > level.sub_policies || !values.read(level.config)) {
    tree.levels.pop_back();
    return;
  }
  tree.policy_path += "\\" + values.text(kSubPolicyName);
  import_policy_file(tree, values.text(kSubPolicyFileName));
}

void import_all_policy(std::string const& policy_file, NvPoRegistry& registry,
                       _NvPolComHandle* parent_key, std::string const& policy_path,
                       std::string const& export_dir) {
  PolicyTree tree{registry, parent_key, export_dir, "", policy_path, {}};
  import_policy_file(tree, policy_file);
  while (!tree.levels.empty()) import_sub_policy(tree);
}

}  // namespace

int import_policy(char const* dir, char const* regfile) {
  std::string const export_dir = dir;
  NvPoRegistry registry(regfile);
  RegistryKey rule(registry, kPolicy.stored_in, 459);
  if (!rule) return 0;
  if (registry.nvregdeletekey(rule.get(), "Mail") == -1) log_error(467, registry.geterror());
  {
    RegistryKey lists(registry, "WhiteBlackLists", 477);
    if (!lists) return 0;
    if (registry.nvregdeletekey(lists.get(), "Global") == -1) log_error(484, registry.geterror());
  }
  import_all_policy(kTopPolicyFile, registry, rule.get(), "", export_dir);
  return 0;
}
