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
#include "steps.h"
#include "value_table.h"

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

using namespace zeva;

namespace {

constexpr ValueRow kAttributes[] = {
    {"comment", VALUE_TEXT},
    {"displayName", VALUE_TEXT},
    {"order", VALUE_NUMBER},
    {"matchType", VALUE_NUMBER},
};

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

// Copies the texts SECTION1 to SECTION`count` of a section that its keys are named after. The first
// that cannot be read is the last that is looked at.
void import_numbered_texts(NvPoRegistry& registry, _NvPolComHandle* key, NvConfigFile const& config,
                           char const* section, int count) {
  for (int i = 0; i < count; ++i) {
    std::string const name = numbered(section, i + 1);
    std::string text;
    if (!read_data(config, section, name, VALUE_TEXT, &text, false)) return;
    // One that cannot be written has been logged, and does not cost the next.
    (void)write_data(registry, key, name, VALUE_TEXT, &text);
  }
}

void import_condition(NvPoRegistry& registry, _NvPolComHandle* policyKey,
                      NvConfigFile const& policyConfig, int count) {
  import_numbered_texts(registry, policyKey, policyConfig, "condition", count);
}

void import_inactive_tasks(NvPoRegistry& registry, _NvPolComHandle* inactiveKey,
                           NvConfigFile const& policyConfig, int count) {
  import_numbered_texts(registry, inactiveKey, policyConfig, "inactive", count);
}

void import_tasks(std::string const& exportDir, NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                  NvConfigFile const& policyConfig, int count, std::string const& policyPath) {
  for (int i = 0; i < count; ++i) {
    std::string filename;
    if (!read_data(policyConfig, numbered("task", i + 1), "filename", VALUE_TEXT, &filename,
                   false)) {
      return;
    }
    import_task(exportDir, registry, tasksKey, filename, policyPath);
  }
}

struct PolicyCounts {
  int conditions, inactive_tasks, sub_policies, tasks;

  bool read(NvConfigFile const& config) {
    return read_number(config, "common", "conditionNum", conditions) &&
           read_number(config, "common", "inactiveNum", inactive_tasks) &&
           read_number(config, "common", "subPolicyNum", sub_policies) &&
           read_number(config, "common", "taskNum", tasks);
  }
};

// Imports the policy of one file, and leaves its own sub-policies to come.
void import_policy_file(PolicyTree& tree, std::string const& filename) {
  PolicyLevel level;
  std::string name;
  ValueTable attributes("common", kAttributes);
  PolicyCounts counts;
  NvConfigFile const& config = level.config;
  if (!read_policy_file(tree, filename, level) ||
      !read_data(config, "common", "name", VALUE_TEXT, &name, false) || !attributes.read(config) ||
      !counts.read(config)) {
    return;
  }
  tree.key_path += name;
  RegistryKey policy(tree.registry, tree.parent_key, tree.key_path, 203);
  if (!policy) return;
  if (!attributes.write(tree.registry, policy.get())) {
    // A policy without a name has no key of its own to take out.
    if (name.find_first_not_of('\\') != std::string::npos) {
      (void)delete_keys(tree.registry, tree.parent_key, {tree.key_path}, "Error", 211);
    }
    return;
  }

  if (RegistryKey inactive(tree.registry, policy.get(), "inactive", 242); inactive) {
    import_inactive_tasks(tree.registry, inactive.get(), config, counts.inactive_tasks);
  }
  import_condition(tree.registry, policy.get(), config, counts.conditions);
  if (RegistryKey tasks(tree.registry, policy.get(), "tasks", 267); tasks) {
    import_tasks(tree.export_dir, tree.registry, tasks.get(), config, counts.tasks,
                 tree.policy_path);
  }
  RegistryKey rules(tree.registry, policy.get(), "rules", 285);
  if (!rules) return;
  tree.key_path += "\\rules\\";
  level.sub_policies = counts.sub_policies;
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
  std::string const section = numbered("policy", number);
  std::string name, filename;
  if (number > level.sub_policies ||
      !read_data(level.config, section, "name", VALUE_TEXT, &name, false) ||
      !read_data(level.config, section, "filename", VALUE_TEXT, &filename, false)) {
    tree.levels.pop_back();
    return;
  }
  tree.policy_path += "\\" + name;
  import_policy_file(tree, filename);
}

void import_all_policy(std::string const& policyFile, NvPoRegistry& registry,
                       _NvPolComHandle* parentKey, std::string const& policyPath,
                       std::string const& exportDir) {
  PolicyTree tree{registry, parentKey, exportDir, "", policyPath, {}};
  import_policy_file(tree, policyFile);
  while (!tree.levels.empty()) import_sub_policy(tree);
}

}  // namespace

int import_policy(char const* dir, char const* regfile) {
  std::string const export_dir = dir;
  NvPoRegistry registry(regfile);
  RegistryKey rule(registry, "registry\\policy\\Rule", 459);
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
