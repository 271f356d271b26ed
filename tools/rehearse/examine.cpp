#include "examine.h"

#include "addr_list_keys.h"
#include "checksums.h"
#include "config_keys.h"
#include "examine_task.h"
#include "export_reader.h"
#include "filter_action_keys.h"
#include "list_walk.h"
#include "misc_keys.h"
#include "nvreg.h"
#include "package_names.h"
#include "policy_keys.h"
#include "references.h"
#include "regpath.h"
#include "results.h"
#include "task_keys.h"
#include "xfilter_keys.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>

namespace fs = std::filesystem;

namespace zeva {
namespace {

// A key's path as it is found by, whatever backslashes it has at its ends; one that no key has
// stays.
std::string normal_path(std::string const& path) {
  std::string joined;
  return join_path("", path, joined) == NVREG_OK ? joined : path;
}

class Examiner {
 public:
  Examiner(std::string const& folder, ExamineOptions const& options)
      : folder_(folder), options_(options), references_(options.store) {}

  std::vector<Finding> examine() {
    examine_actions();
    examine_settings(kExceptionFile, kExceptionSections);
    examine_settings(kScanLimitFile, kScanLimitSections);
    examine_quarantine();
    examine_policies();
    examine_extra_filters();
    examine_address_groups();
    examine_single_values();
    references_.report(findings_);
    examine_folder();
    return std::move(findings_);
  }

 private:
  using Reader = std::optional<ExportReader>;
  using FileId = std::pair<dev_t, ino_t>;
  using FileSet = std::set<FileId>;

  static FileId id_of(FileIdentity const& file) { return {file.device, file.number}; }

  Finding& report(Kind kind, std::string const& file, std::string const& text) {
    return findings_.emplace_back(kind, file, "", "", text);
  }

  // Opens a file that its importer cannot do without; most of them end the run then, as they do
  // when something in it cannot be read.
  Reader open(std::string const& name, bool ends_run = true) {
    Reader file(std::in_place, folder_, name, findings_);
    file->unreadable_ends_run(ends_run);
    if (file->open() && read(*file)) return file;
    Finding& missing = report("missing", name, "cannot be read as a file of the package");
    if (ends_run) missing.severity = Severity::kError;
    return std::nullopt;
  }

  // Reads a file that is open. What its bytes give away is told once for a file.
  bool read(ExportReader& file) {
    options_.go_on();
    if (!file.read()) return false;
    if (read_.insert(id_of(file.identity())).second) file.report_bytes();
    return true;
  }

  void close(ExportReader& file) {
    file.report_rest();
    examined_.insert(fs::path(file.name()).relative_path().lexically_normal());
  }

  void examine_actions() {
    Reader index = open(kActionIndex);
    if (!index) return references_.forget(Thing::kClassifications);
    int const files = index->number(kCommon, kActionFileCount);
    close(*index);
    for (int i = 1; i <= files; ++i) {
      Reader file = open(numbered(kActionFile, i));
      if (!file) return references_.forget(Thing::kClassifications);  // the importer ends here, too
      examine_classification(*file);
      close(*file);
    }
  }

  void examine_classification(ExportReader& file) {
    file.values(kCommon, kClassKeys);
    Key* const made = references_.give(file, kCommon, kClassName, Thing::kClassifications);
    Key* const folder = made ? references_.store().make(*made, "actions") : nullptr;
    int const actions = file.asked_number(kCommon, kActionCount).value_or(0);
    auto const held = held_sections(file.file(), kAction.name, actions);
    for (int const i : held) examine_action(file, numbered(kAction.name, i), folder);
    file.report_missing(held, kCommon, kActionCount, actions);
  }

  void examine_action(ExportReader& file, std::string const& section, Key* folder) {
    file.unreadable_ends_run(false);  // half an action is kept
    bool const whole = file.values(section, kActionKeys);
    file.unreadable_ends_run(true);
    if (!whole) return;
    if (folder != nullptr) {
      references_.give(file, section, kActionName, Thing::kActions, *folder,
                       *file.asked_text(section, kActionName));
    }
    int const type = *file.asked_number(section, kActionType);
    auto const kind = std::ranges::find(kActionTypes, type, &ActionType::type);
    if (kind == std::end(kActionTypes)) {
      file.report_unreadable(
          "skipped", section, "",
          "actions of type " + std::to_string(type) + " are unknown: the import ends here");
      return;
    }
    file.values(section, kind->keys);
    if (kind->keys.data() == kQuarantineKeys) {
      ExportKey const& area = kQuarantineKeys[0];
      references_.call(file, section, area.name, Thing::kAreas,
                       file.asked_text(section, area).value_or(""));
    }
    if (kind->keys.data() == kArchiveFolderKeys) {
      report_moved(file, section, kArchiveFolderKeys[0], kArchiveFolder);
    }
  }

  // The run's own warning shows the new path in the place of the old one.
  static void report_moved(ExportReader& file, std::string const& section, ExportKey const& key,
                           std::string const& path) {
    auto const exported = file.asked_text(section, key);
    if (!exported || *exported == path) return;
    file.report("moved-path", section, key.name, "\"" + *exported + "\" becomes \"" + path + "\"");
  }

  // A list that announces more than it holds would be reported item by item, a billion times over
  // from a hostile file; where nothing follows, the examination ends.
  static bool ends(ExportReader& file, std::string const& section) {
    if (!file.keys(section).empty()) return false;
    file.report_unreadable("missing", section, "",
                           "is announced by a number, but missing or empty");
    return true;
  }

  void examine_settings(char const* name, std::span<ExportSection const> sections) {
    Reader file = open(name);
    if (!file) return;
    for (ExportSection const& section : sections) {
      file->values(section.name, section.keys);
      if (sections.data() != kExceptionSections) continue;
      references_.call_classifications(*file, section.name, section.keys);
    }
    close(*file);
  }

  void examine_quarantine() {
    Reader file = open(kQuarantineFile);
    if (!file) return references_.forget(Thing::kAreas);
    int const areas = file->number(kCommon, kAreaCount);
    for (int i = 1; i <= areas && !ends(*file, numbered(kArea.name, i)); ++i) {
      std::string const section = numbered(kArea.name, i);
      file->values(section, kArea.keys);
      references_.give(*file, section, kAreaName, Thing::kAreas);
      report_moved(*file, section, kAreaPath, kQuarantineFolder);
    }
    close(*file);
  }

  struct PolicyToDo {
    std::string file;
    size_t depth;
    Key* folder;              // of the policies that it will lie among
    std::string called = {};  // how the policy above calls it, in which file and section; empty
    std::string by = {};      // for the top one
    std::string section = {};
  };

  // A policy on the way from the top one to the one that is examined.
  struct PolicyLevel {
    FileId file;
    std::vector<std::string> tasks;
  };

  // What is known of a file that was named before.
  struct Known {
    std::map<std::string, std::string> named_by = {};  // files of policies, in which section
    std::optional<std::string> task = {};              // the name of the task that it makes
    bool is_open = false;  // the policy lies above the one that is examined
  };

  // Depth first without recursion: files may be nested deeper than the stack reaches. A file that
  // several policies name is examined once, so that the walk ends however they name each other.
  void examine_policies() {
    Key& root = references_.store().root();
    std::vector<PolicyToDo> waiting{
        {kTopPolicyFile, 0, references_.store().make(root, kPolicy.stored_in)}};
    while (!waiting.empty()) {
      PolicyToDo const next = waiting.back();
      waiting.pop_back();
      leave_levels(next.depth);
      Reader file(std::in_place, folder_, next.file, findings_);
      bool const opened = file->open();
      if (opened && policies_[id_of(file->identity())].is_open) {
        report("skipped", next.file, "the policy and all below it: the file is its own ancestor");
      } else if (opened && is_known(policies_, *file, next.by, next.section, kSubPolicyFileName)) {
        references_.forget(Thing::kPolicies);  // it is made here as well, with all below it
      } else if (!opened || !read(*file)) {
        report("skipped", next.file, "the policy and all below it: the file cannot be read");
      } else {
        policies_[id_of(file->identity())].is_open = true;
        levels_.push_back({id_of(file->identity()), {}});
        examine_policy(*file, next, waiting);
        close(*file);
      }
    }
    leave_levels(0);
  }

  void leave_levels(size_t depth) {
    for (; levels_.size() > depth; levels_.pop_back()) {
      for (std::string const& task : levels_.back().tasks) --tasks_above_[task];
      policies_[levels_.back().file].is_open = false;
    }
  }

  // Whether the file was examined already, which is reported where it is named again.
  bool is_known(std::map<FileId, Known>& known, ExportReader& file, std::string const& by,
                std::string const& section, ExportKey const& key) {
    auto& named_by = known[id_of(file.identity())].named_by;
    auto const [own, is_new] = named_by.emplace(by, section);
    if (is_new && named_by.size() == 1) return false;
    auto const other = !is_new ? own : own == named_by.begin() ? std::next(own) : named_by.begin();
    findings_.push_back(
        {"named-twice", by, section, key.name,
         "\"" + file.name() + "\" is named here and in " + other->first + ", " + other->second +
             (is_new ? ": each of the two policies gets it" : ": this policy gets it once")});
    return true;
  }

  void examine_policy(ExportReader& file, PolicyToDo const& policy,
                      std::vector<PolicyToDo>& waiting) {
    file.values(kCommon, kPolicy.keys);
    if (std::string const place = file.take_unreadable(); !place.empty()) {
      file.report("skipped", "", "", "the policy and all below it: " + place + " cannot be read");
      return;
    }
    Key* const made = give_policy_name(file, policy);
    if (made == nullptr) return;
    auto const count = [&](ExportKey const& key) {
      return file.asked_number(kCommon, key).value_or(0);
    };
    examine_texts(file, kConditions, count(kConditionCount), [&](int i, std::string const& text) {
      call_lists(file, numbered(kCondition.name, i), text);
    });
    Key& tasks_folder = *references_.store().make(*made, kTaskHead.stored_in);
    int const tasks = count(kTaskCount);
    for (int i = 1; i <= tasks; ++i) {
      std::string const section = numbered(kTask.name, i);
      auto const task = file.value(section, kTaskFileName);
      if (!task) {
        skip_rest(file, section, "", tasks);
        break;
      }
      examine_task(*task, file.name(), section, tasks_folder);
    }
    examine_texts(file, kInactiveTasks, count(kInactiveCount), [&](int i, std::string const& task) {
      examine_inactive_task(file, numbered(kInactiveTask.name, i), task);
    });
    Key* const folder = references_.store().make(*made, kSubPolicies);
    int const policies = count(kSubPolicyCount);
    size_t const first = waiting.size();
    for (int i = 1; i <= policies; ++i) {
      std::string const section = numbered(kSubPolicy.name, i);
      auto const name = file.value(section, kSubPolicyName);
      auto const below = file.value(section, kSubPolicyFileName);
      if (!name || !below) {
        skip_rest(file, section, "", policies);
        break;
      }
      waiting.push_back({*below, levels_.size(), folder, *name, file.name(), section});
    }
    std::reverse(waiting.begin() + static_cast<ptrdiff_t>(first), waiting.end());
  }

  // The key that the policy will have; null when its name makes none.
  Key* give_policy_name(ExportReader& file, PolicyToDo const& policy) {
    constexpr char kTopPolicy[] = "Mail";
    std::string const name = *file.asked_text(kCommon, kPolicyName);
    if (policy.by.empty()) {
      references_.set_top_policy(kPolicy.stored_in + ("\\" + name));
      if (normal_path(name) != kTopPolicy) {
        file.report("top-policy", kCommon, kPolicyName.name,
                    "the policy of all mail is called \"" + name +
                        "\", but the gateway goes by the policy \"Mail\", which is removed");
      }
    } else if (normal_path(name) != normal_path(policy.called)) {
      findings_.push_back({"dangling-reference", policy.by, policy.section, kSubPolicyName.name,
                           "the policy of " + file.name() + " is not called \"" + policy.called +
                               "\", but \"" + name + "\": its white and black lists go astray"});
    }
    return references_.give(file, kCommon, kPolicyName, Thing::kPolicies, *policy.folder, name);
  }

  template <class Visit>
  void examine_texts(ExportReader& file, ExportSection const& section, int count,
                     Visit const& visit) {
    ExportKey const& key = section.keys.front();
    for (int i = 1; i <= count; ++i) {
      auto const text = file.item(section.name, key, i);
      if (!text) {
        skip_rest(file, section.name, numbered(key.name, i), count);
        return;
      }
      visit(i, *text);
    }
  }

  // The sender and the recipient of a condition: an address, a domain, a pattern of either, or the
  // name of a list.
  void call_lists(ExportReader const& file, std::string const& key, std::string const& condition) {
    size_t const end = std::min(condition.find(';'), condition.size());
    for (std::string const& side :
         {condition.substr(0, end), condition.substr(std::min(end + 1, condition.size()))}) {
      if (side.find_first_of("@*.?<>:[") != side.npos) continue;
      references_.call(file, kConditions.name, key, Thing::kLists, side);
    }
  }

  void examine_inactive_task(ExportReader& file, std::string const& key, std::string const& task) {
    if (task.empty() || tasks_above_[task] > 0) return;
    file.report("dangling-reference", kInactiveTasks.name, key,
                "neither this policy nor one above it will have a task \"" + task + "\"");
  }

  static void skip_rest(ExportReader& file, std::string const& section, std::string const& key,
                        int count) {
    std::string const place = file.take_unreadable();
    file.report("skipped", section, key,
                "this one and all after it, up to number " + std::to_string(count) + ": " + place +
                    " cannot be read");
  }

  void examine_task(std::string const& name, std::string const& by, std::string const& section,
                    Key& folder) {
    Reader file(std::in_place, folder_, name, findings_);
    bool const opened = file->open();
    if (opened && is_known(tasks_, *file, by, section, kTaskFileName)) {
      if (auto const& task = tasks_[id_of(file->identity())].task) have_task(*task);
      return;
    }
    if (!opened || !read(*file)) {
      report("skipped", name, "the task: the file cannot be read");
      return;
    }
    if (zeva::examine_task(*file, references_)) {
      std::string const task = *file->asked_text(kCommon, kTaskName);
      references_.give(*file, kCommon, kTaskName, Thing::kTasks, folder, task);
      tasks_[id_of(file->identity())].task = task;
      have_task(task);
    }
    close(*file);
  }

  // The policy has the task, and so have those below it.
  void have_task(std::string const& task) {
    levels_.back().tasks.push_back(task);
    ++tasks_above_[task];
  }

  void examine_extra_filters() {
    if (lacks_export_file(folder_, kExtraFilterFile)) return;  // not every export has one
    Reader file = open(kExtraFilterFile, false);
    if (!file) return;
    file->values(kCommon, kExtraFilters.keys);
    int const filters = file->number(kCommon, kExtraFilterCount);
    auto const held = held_sections(file->file(), kExtraFilter.name, filters);
    for (int const i : held) examine_extra_filter(*file, i);
    file->report_missing(held, kCommon, kExtraFilterCount, filters);
    close(*file);
  }

  void examine_extra_filter(ExportReader& file, int number) {
    std::string const section = numbered(kExtraFilter.name, number);
    file.value(section, kExtraFilterName);
    references_.give(file, section, kExtraFilterName, Thing::kFilters);
    file.values(section, kExtraFilter.keys);
    int const patterns = file.number(section, kPatternCount);
    std::string const list = numbered(kPatterns.name, number);
    auto const held = held_keys(file.file(), list, kPattern.name, patterns, kFirstPattern);
    for (int const i : held) file.item(list, kPattern, i);
    file.report_missing(held, section, kPatternCount, patterns);
    if (std::string const place = file.take_unreadable(); !place.empty()) {
      file.report("partial", section, "", "is not imported whole: " + place + " cannot be read");
    }
  }

  void examine_address_groups() {
    Reader file = open(kAddressListFile);
    if (!file) return references_.forget(Thing::kLists);
    int const groups = file->number(kCommon, kAddressListCount);
    if (groups >= kWatchdogSeconds) {
      file->report("address-groups", kCommon, kAddressListCount.name,
                   std::to_string(groups) + " groups take at least as many seconds, and the " +
                       "import is ended and undone after " + std::to_string(kWatchdogSeconds));
    }
    for (int i = 1; i <= groups && !ends(*file, numbered(kAddressList.name, i)); ++i) {
      examine_address_group(*file, numbered(kAddressList.name, i));
    }
    close(*file);
  }

  void examine_address_group(ExportReader& file, std::string const& section) {
    file.values(section, kAddressList.keys);
    references_.give(file, section, kAddressListName, Thing::kLists);
    auto const text = file.asked_text(section, kAddresses);
    std::vector<std::string> addresses;
    if (text) parse_multi_str(text->c_str(), addresses);
    if (text && addresses.empty()) {
      file.report("address-groups", section, kAddresses.name,
                  "holds no address, which ends the import and undoes it");
    }
  }

  void examine_single_values() {
    Reader file = open(kSingleValueFile);
    if (!file) return;
    int const count = file->number(kCommon, kSingleValueCount);
    for (int i = 1; i <= count && !ends(*file, numbered(kValuePlace.name, i)); ++i) {
      examine_single_value(*file, numbered(kValuePlace.name, i));
    }
    close(*file);
  }

  void examine_single_value(ExportReader& file, std::string const& section) {
    file.values(section, kValuePlace.keys);
    file.value(section, kValue);
    auto const path = file.asked_text(section, kValuePath);
    if (!path) return;
    report_slashes(file, section, kValuePath, *path);
    references_.store().make(references_.store().root(), *path);
    if (!names_keys(*path)) report_refused(file, section, kValuePath, *path, kPathLimit);
    auto const name = file.asked_text(section, kValueName);
    if (name && check_name(*name) != NVREG_OK)
      report_refused(file, section, kValueName, *name, kNameLimit);
  }

  static void report_refused(ExportReader& file, std::string const& section, ExportKey const& key,
                             std::string const& name, char const* limit) {
    file.report_unreadable("bad-name", section, key.name,
                           refusal(name, limit, "the import ends here"));
  }

  // What lies in the package beside what was examined.
  void examine_folder() {
    std::set<std::string> listed;
    if (options_.is_packed) listed = check_checksums(folder_, options_.go_on, findings_);
    std::error_code failure;
    for (auto entry = fs::recursive_directory_iterator(folder_, failure);
         !failure && entry != fs::end(entry); entry.increment(failure)) {
      if (entry->symlink_status().type() == fs::file_type::directory) continue;
      std::string const name = entry->path().lexically_relative(folder_);
      if (name == kChecksumFile) continue;
      if (!examined_.contains(name)) {
        report("unread-file", name, "no importer reads this file");
      }
      if (!listed.empty() && !listed.contains(name)) {
        report("unlisted-file", name, "md5.sum does not list this file: a damage goes unnoticed");
      }
    }
  }

  std::string const folder_;
  ExamineOptions const options_;
  std::vector<Finding> findings_;
  References references_;
  std::set<std::string> examined_;
  std::vector<PolicyLevel> levels_;
  std::unordered_map<std::string, int> tasks_above_;  // how many of a name the levels have
  std::map<FileId, Known> policies_, tasks_;
  FileSet read_;
};

}  // namespace

std::vector<Finding> examine_package(std::string const& folder, ExamineOptions const& options) {
  return Examiner(folder, options).examine();
}

}  // namespace zeva
