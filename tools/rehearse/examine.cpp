#include "examine.h"

#include "addr_list_keys.h"
#include "checksum_list.h"
#include "config_keys.h"
#include "examine_task.h"
#include "export_reader.h"
#include "filter_action_keys.h"
#include "list_walk.h"
#include "misc_keys.h"
#include "package_names.h"
#include "policy_keys.h"
#include "results.h"
#include "xfilter_keys.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <span>
#include <utility>

namespace fs = std::filesystem;

namespace zeva {
namespace {

class Examiner {
 public:
  Examiner(std::string const& folder, std::function<void()> const& go_on)
      : folder_(folder), go_on_(go_on) {}

  std::vector<Finding> examine() {
    examine_actions();
    examine_settings(kExceptionFile, kExceptionSections);
    examine_settings(kScanLimitFile, kScanLimitSections);
    examine_quarantine();
    examine_policies();
    examine_extra_filters();
    examine_address_groups();
    examine_single_values();
    examine_folder();
    return std::move(findings_);
  }

 private:
  using Reader = std::optional<ExportReader>;
  using FileSet = std::set<std::pair<dev_t, ino_t>>;

  void report(Kind kind, std::string const& file, std::string const& text) {
    findings_.emplace_back(kind, file, "", "", text);
  }

  // Opens a file that its importer cannot do without.
  Reader open(std::string const& name) {
    Reader file(std::in_place, folder_, name, findings_);
    if (file->open() && read(*file)) return file;
    report("missing", name, "cannot be read as a file of the package");
    return std::nullopt;
  }

  // Reads a file that is open. What its bytes give away is told once for a file.
  bool read(ExportReader& file) {
    go_on_();
    if (!file.read()) return false;
    if (is_first_time(read_, file.identity())) file.report_bytes();
    return true;
  }

  void close(ExportReader& file) {
    file.report_unasked();
    examined_.insert(fs::path(file.name()).lexically_normal());
  }

  void examine_actions() {
    Reader index = open(kActionIndex);
    if (!index) return;
    int const files = index->number(kCommon, kActionFileCount);
    close(*index);
    for (int i = 1; i <= files; ++i) {
      Reader file = open(numbered(kActionFile, i));
      if (!file) return;  // the importer ends here, too
      examine_classification(*file);
      close(*file);
    }
  }

  void examine_classification(ExportReader& file) {
    file.values(kCommon, kClassKeys);
    int const actions = file.asked_number(kCommon, kActionCount).value_or(0);
    auto const held = held_sections(file.file(), kAction.name, actions);
    for (int const i : held) examine_action(file, numbered(kAction.name, i));
    file.report_missing(held, kCommon, kActionCount, actions);
  }

  void examine_action(ExportReader& file, std::string const& section) {
    file.values(section, kActionKeys);
    auto const type = file.asked_number(section, kActionType);
    if (!type) return;
    auto const kind = std::ranges::find(kActionTypes, *type, &ActionType::type);
    if (kind == std::end(kActionTypes)) {
      file.report(
          "skipped", section, "",
          "actions of type " + std::to_string(*type) + " are unknown: the import ends here");
      return;
    }
    file.values(section, kind->keys);
  }

  // A list that announces more than it holds would be reported item by item, a billion times over
  // from a hostile file; where nothing follows, the examination ends.
  static bool ends(ExportReader& file, std::string const& section) {
    if (!file.keys(section).empty()) return false;
    file.report("missing", section, "", "is announced by a number, but missing or empty");
    return true;
  }

  void examine_settings(char const* name, std::span<ExportSection const> sections) {
    Reader file = open(name);
    if (!file) return;
    for (ExportSection const& section : sections) file->values(section.name, section.keys);
    close(*file);
  }

  void examine_quarantine() {
    Reader file = open(kQuarantineFile);
    if (!file) return;
    int const areas = file->number(kCommon, kAreaCount);
    for (int i = 1; i <= areas && !ends(*file, numbered(kArea.name, i)); ++i) {
      file->values(numbered(kArea.name, i), kArea.keys);
    }
    close(*file);
  }

  struct PolicyToDo {
    std::string file;
    size_t depth;
  };

  // Depth first without recursion: files may be nested deeper than the stack reaches. A file that
  // several policies name is examined once, so that the walk ends however they name each other.
  void examine_policies() {
    std::vector<PolicyToDo> waiting{{kTopPolicyFile, 0}};
    std::vector<FileIdentity> ancestors;
    while (!waiting.empty()) {
      PolicyToDo const next = waiting.back();
      waiting.pop_back();
      ancestors.resize(next.depth);
      Reader file(std::in_place, folder_, next.file, findings_);
      bool const opened = file->open();
      if (opened && contains(ancestors, file->identity())) {
        report("skipped", next.file, "the policy and all below it: the file is its own ancestor");
      } else if (opened && !is_first_time(policies_, file->identity())) {
        continue;
      } else if (!opened || !read(*file)) {
        report("skipped", next.file, "the policy and all below it: the file cannot be read");
      } else {
        ancestors.push_back(file->identity());
        examine_policy(*file, next.depth + 1, waiting);
        close(*file);
      }
    }
  }

  static bool contains(std::vector<FileIdentity> const& files, FileIdentity const& file) {
    return std::find(files.begin(), files.end(), file) != files.end();
  }

  static bool is_first_time(FileSet& seen, FileIdentity const& file) {
    return seen.emplace(file.device, file.number).second;
  }

  void examine_policy(ExportReader& file, size_t depth, std::vector<PolicyToDo>& waiting) {
    file.values(kCommon, kPolicy.keys);
    if (std::string const place = file.take_unreadable(); !place.empty()) {
      file.report("skipped", "", "", "the policy and all below it: " + place + " cannot be read");
      return;
    }
    auto const count = [&](ExportKey const& key) {
      return file.asked_number(kCommon, key).value_or(0);
    };
    examine_texts(file, kConditions, count(kConditionCount));
    examine_texts(file, kInactiveTasks, count(kInactiveCount));
    int const tasks = count(kTaskCount);
    for (int i = 1; i <= tasks; ++i) {
      auto const task = file.value(numbered(kTask.name, i), kTaskFileName);
      if (!task) {
        skip_rest(file, numbered(kTask.name, i), "", tasks);
        break;
      }
      examine_task(*task);
    }
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
      waiting.push_back({*below, depth});
    }
    std::reverse(waiting.begin() + static_cast<ptrdiff_t>(first), waiting.end());
  }

  void examine_texts(ExportReader& file, ExportSection const& section, int count) {
    ExportKey const& key = section.keys.front();
    for (int i = 1; i <= count; ++i) {
      if (!file.item(section.name, key, i)) {
        skip_rest(file, section.name, numbered(key.name, i), count);
        return;
      }
    }
  }

  static void skip_rest(ExportReader& file, std::string const& section, std::string const& key,
                        int count) {
    std::string const place = file.take_unreadable();
    file.report("skipped", section, key,
                "this one and all after it, up to number " + std::to_string(count) + ": " + place +
                    " cannot be read");
  }

  void examine_task(std::string const& name) {
    Reader file(std::in_place, folder_, name, findings_);
    bool const opened = file->open();
    if (opened && !is_first_time(tasks_, file->identity())) return;
    if (!opened || !read(*file)) {
      report("skipped", name, "the task: the file cannot be read");
      return;
    }
    zeva::examine_task(*file);
    close(*file);
  }

  void examine_extra_filters() {
    if (lacks_export_file(folder_, kExtraFilterFile)) return;  // not every export has one
    Reader file = open(kExtraFilterFile);
    if (!file) return;
    file->values(kCommon, kExtraFilters.keys);
    int const filters = file->number(kCommon, kExtraFilterCount);
    auto const held = held_sections(file->file(), kExtraFilter.name, filters);
    for (int const i : held) examine_extra_filter(*file, i);
    file->report_missing(held, kCommon, kExtraFilterCount, filters);
    close(*file);
  }

  static void examine_extra_filter(ExportReader& file, int number) {
    std::string const section = numbered(kExtraFilter.name, number);
    file.value(section, kExtraFilterName);
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
    if (!file) return;
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

  static void examine_address_group(ExportReader& file, std::string const& section) {
    file.values(section, kAddressList.keys);
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
      file->values(numbered(kValuePlace.name, i), kValuePlace.keys);
      file->value(numbered(kValuePlace.name, i), kValue);
    }
    close(*file);
  }

  // What lies in the package beside what was examined.
  void examine_folder() {
    std::set<std::string> const listed = listed_files();
    std::error_code failure;
    for (auto entry = fs::recursive_directory_iterator(folder_, failure);
         !failure && entry != fs::end(entry); entry.increment(failure)) {
      if (entry->symlink_status().type() == fs::file_type::directory) continue;
      std::string const name = entry->path().lexically_relative(folder_);
      if (name == kChecksumFile) continue;
      if (!examined_.contains(name)) {
        report("unread-file", name, "no importer reads this file");
      }
      if (!listed.contains(name)) {
        report("unlisted-file", name, "md5.sum does not list this file: a damage goes unnoticed");
      }
    }
  }

  std::set<std::string> listed_files() const {
    std::set<std::string> names;
    Descriptor const file = open_export_file(folder_, kChecksumFile);
    ChecksumList list(file.get());
    for (std::string name; list.next(name);) names.insert(fs::path(name).lexically_normal());
    return names;
  }

  std::string const folder_;
  std::function<void()> const go_on_;
  std::vector<Finding> findings_;
  std::set<std::string> examined_;
  FileSet policies_;
  FileSet tasks_;
  FileSet read_;
};

}  // namespace

std::vector<Finding> examine_package(std::string const& folder,
                                     std::function<void()> const& go_on) {
  return Examiner(folder, go_on).examine();
}

}  // namespace zeva
