#include "examine.h"

#include "checksum_list.h"
#include "examine_task.h"
#include "export_reader.h"
#include "list_walk.h"
#include "package_names.h"
#include "results.h"

#include <algorithm>
#include <filesystem>
#include <optional>

namespace fs = std::filesystem;

namespace zeva {
namespace {

constexpr AskedKey kScanLimits[] = {
    {"MaxVirusCount", VALUE_NUMBER},      {"MaxEntityCount", VALUE_NUMBER},
    {"MaxDecompressCount", VALUE_NUMBER}, {"MaxDecompressDepth", VALUE_NUMBER},
    {"MaxDecompressSize", VALUE_NUMBER},  {"MaxScanSize", VALUE_NUMBER},
    {"MultipleCleanLayer", VALUE_NUMBER}, {"uiMaxFrontScanSize", VALUE_NUMBER},
};

// What an action of each type is set up with; types without settings have no row of keys.
struct ActionType {
  int first, last;
  std::vector<AskedKey> keys;
};
ActionType const kActionTypes[] = {
    {0x10001, 0x10001, {}},
    {0x10002, 0x10002, {{"PostponeTime", VALUE_NUMBER}}},
    {0x10003, 0x10003, {{"QuarantineArea", VALUE_TEXT}}},
    {0x10004,
     0x10005,
     {{"ForwardLists", VALUE_TEXT},
      {"From", VALUE_TEXT},
      {"Subject", VALUE_TEXT},
      {"Content", VALUE_TEXT}}},
    {0x10006, 0x10007, {{"ArchiveFolder", VALUE_TEXT}}},
    {0x10008, 0x10009, {{"ArchiveMailAccount", VALUE_TEXT}}},
    {0x1000A, 0x1000A, {}},
    {0x20001,
     0x20001,
     {{"SpecifiedAddress", VALUE_TEXT},
      {"MailTargetType", VALUE_NUMBER},
      {"Subject", VALUE_TEXT},
      {"Attachment", VALUE_NUMBER},
      {"OtherAddress", VALUE_TEXT},
      {"BccOrCc", VALUE_NUMBER},
      {"Content", VALUE_TEXT}}},
    {0x20002, 0x20002, {{"Content", VALUE_TEXT}}},
    {0x20003, 0x20005, {}},
};
constexpr int kNotifyAction = 0x20001;

class Examiner {
 public:
  Examiner(std::string const& folder, std::function<void()> const& go_on)
      : folder_(folder), go_on_(go_on) {}

  Examination examine() {
    examine_actions();
    examine_exceptions();
    examine_scan_limits();
    examine_quarantine();
    examine_policies();
    examine_extra_filters();
    examine_address_groups();
    examine_single_values();
    examine_folder();
    return std::move(result_);
  }

 private:
  using Reader = std::optional<ExportReader>;
  using FileSet = std::set<std::pair<dev_t, ino_t>>;

  void report(std::string const& kind, std::string const& file, std::string const& text) {
    result_.findings.push_back({kind, file, "", text});
  }

  // Opens a file that its importer cannot do without.
  Reader open(std::string const& name) {
    Reader file(std::in_place, folder_, name, result_.findings);
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
    result_.asked[fs::path(file.name()).lexically_normal()] = file.asked();
  }

  void examine_actions() {
    Reader index = open(kActionIndex);
    if (!index) return;
    int const files = index->number(kCommon, "FileNum");
    close(*index);
    for (int i = 1; i <= files; ++i) {
      Reader file = open(numbered("action", i) + ".txt");
      if (!file) return;  // the importer ends here, too
      examine_classification(*file);
      close(*file);
    }
  }

  void examine_classification(ExportReader& file) {
    file.values(kCommon, {{"hidden", VALUE_TEXT},
                          {"name", VALUE_TEXT, Fate::kUsed},
                          {"DisplayName", VALUE_TEXT, Fate::kShownName},
                          {"Comment", VALUE_TEXT, Fate::kRemark}});
    int const actions = file.number(kCommon, "actionnum");
    auto const held = held_sections(file.file(), "action", actions);
    for (int const i : held) examine_action(file, numbered("action", i));
    file.report_missing(held, "common.actionnum", actions);
  }

  void examine_action(ExportReader& file, std::string const& section) {
    file.values(section, {{"name", VALUE_TEXT, Fate::kUsed},
                          {"comment", VALUE_TEXT},
                          {"displayName", VALUE_TEXT},
                          {"order", VALUE_NUMBER}});
    file.take_unreadable();
    int const type = file.number(section, "actionType");
    if (!file.take_unreadable().empty()) return;
    auto const* kind =
        std::find_if(std::begin(kActionTypes), std::end(kActionTypes),
                     [&](auto const& t) { return t.first <= type && type <= t.last; });
    if (kind == std::end(kActionTypes)) {
      file.report("skipped", section,
                  "actions of type " + std::to_string(type) + " are unknown: the import ends here");
      return;
    }
    file.values(section, kind->keys);
    if (type == kNotifyAction && has(file, section, "Administrator")) {
      file.value(section, "Administrator", VALUE_TEXT);
    }
  }

  static bool has(ExportReader const& file, std::string const& section, std::string const& key) {
    auto const keys = file.keys(section);
    return std::find(keys.begin(), keys.end(), key) != keys.end();
  }

  // A list that announces more than it holds would be reported item by item, a billion times over
  // from a hostile file; where nothing follows, the examination ends.
  static bool ends(ExportReader& file, std::string const& section) {
    if (!file.keys(section).empty()) return false;
    file.report("missing", section, "is announced by a number, but missing or empty");
    return true;
  }

  void examine_exceptions() {
    Reader file = open(kExceptionFile);
    if (!file) return;
    file->values(kCommon, {{"ProcessErrorCls", VALUE_TEXT}, {"EncryptedMessageCls", VALUE_TEXT}});
    close(*file);
  }

  void examine_scan_limits() {
    Reader file = open(kScanLimitFile);
    if (!file) return;
    file->values(kCommon, kScanLimits);
    close(*file);
  }

  void examine_quarantine() {
    Reader file = open(kQuarantineFile);
    if (!file) return;
    int const areas = file->number(kCommon, "FileNum");
    for (int i = 1; i <= areas && !ends(*file, numbered("area", i)); ++i) {
      file->values(numbered("area", i), {{"AreaName", VALUE_TEXT},
                                         {"DisplayName", VALUE_TEXT},
                                         {"Path", VALUE_TEXT},
                                         {"KeepDate", VALUE_NUMBER},
                                         {"KeepDateChecked", VALUE_NUMBER}});
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
      Reader file(std::in_place, folder_, next.file, result_.findings);
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
    file.values(kCommon, {{"name", VALUE_TEXT, Fate::kUsed},
                          {"comment", VALUE_TEXT},
                          {"displayName", VALUE_TEXT},
                          {"order", VALUE_NUMBER},
                          {"matchType", VALUE_NUMBER}});
    int const conditions = file.number(kCommon, "conditionNum");
    int const inactive = file.number(kCommon, "inactiveNum");
    int const policies = file.number(kCommon, "subPolicyNum");
    int const tasks = file.number(kCommon, "taskNum");
    if (std::string const place = file.take_unreadable(); !place.empty()) {
      file.report("skipped", "", "the policy and all below it: " + place + " cannot be read");
      return;
    }
    examine_texts(file, "condition", conditions);
    examine_texts(file, "inactive", inactive);
    for (int i = 1; i <= tasks; ++i) {
      auto const task = file.value(numbered("task", i), "filename", VALUE_TEXT, Fate::kUsed);
      if (!task) {
        skip_rest(file, "task", i, tasks);
        break;
      }
      examine_task(*task);
    }
    size_t const first = waiting.size();
    for (int i = 1; i <= policies; ++i) {
      std::string const section = numbered("policy", i);
      auto const name = file.value(section, "name", VALUE_TEXT, Fate::kUsed);
      auto const below = file.value(section, "filename", VALUE_TEXT, Fate::kUsed);
      if (!name || !below) {
        skip_rest(file, "policy", i, policies);
        break;
      }
      waiting.push_back({*below, depth});
    }
    std::reverse(waiting.begin() + static_cast<ptrdiff_t>(first), waiting.end());
  }

  void examine_texts(ExportReader& file, std::string const& section, int count) {
    for (int i = 1; i <= count; ++i) {
      if (!file.value(section, numbered(section, i), VALUE_TEXT)) {
        skip_rest(file, section, i, count);
        return;
      }
    }
  }

  void skip_rest(ExportReader& file, std::string const& what, int from, int count) {
    std::string const place = file.take_unreadable();
    file.report("skipped", numbered(what, from),
                "this one and all after it, up to number " + std::to_string(count) + ": " + place +
                    " cannot be read");
  }

  void examine_task(std::string const& name) {
    Reader file(std::in_place, folder_, name, result_.findings);
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
    file->number(kCommon, "enable");
    int const filters = file->number(kCommon, "filterNum");
    auto const held = held_sections(file->file(), "filter", filters);
    for (int const i : held) examine_extra_filter(*file, numbered("filter", i));
    file->report_missing(held, "common.filterNum", filters);
    close(*file);
  }

  static void examine_extra_filter(ExportReader& file, std::string const& section) {
    file.values(section, {{"Name", VALUE_TEXT, Fate::kUsed},
                          {"Location", VALUE_NUMBER},
                          {"CaseSensitive", VALUE_NUMBER}});
    int const patterns = file.number(section, "patternNum");
    std::string const list = section + "_pattern";
    auto const held = held_keys(file.file(), list, "Pattern", patterns, 0);
    for (int const i : held) file.value(list, numbered("Pattern", i), VALUE_TEXT);
    file.report_missing(held, section + ".patternNum", patterns);
    if (std::string const place = file.take_unreadable(); !place.empty()) {
      file.report("partial", section, "is not imported whole: " + place + " cannot be read");
    }
  }

  void examine_address_groups() {
    Reader file = open(kAddressListFile);
    if (!file) return;
    int const groups = file->number(kCommon, "Num");
    if (groups >= kWatchdogSeconds) {
      file->report("address-groups", "common.Num",
                   std::to_string(groups) + " groups take at least as many seconds, and the " +
                       "import is ended and undone after " + std::to_string(kWatchdogSeconds));
    }
    for (int i = 1; i <= groups && !ends(*file, numbered("addressList", i)); ++i) {
      examine_address_group(*file, numbered("addressList", i));
    }
    close(*file);
  }

  static void examine_address_group(ExportReader& file, std::string const& section) {
    file.values(section, {{"Name", VALUE_TEXT, Fate::kUsed},
                          {"displayName", VALUE_TEXT, Fate::kShownName},
                          {"comment", VALUE_TEXT, Fate::kRemark}});
    auto const text = file.value(section, "address", VALUE_TEXT, Fate::kUsed);
    std::vector<std::string> addresses;
    if (text) parse_multi_str(text->c_str(), addresses);
    if (text && addresses.empty()) {
      file.report("address-groups", section,
                  "holds no address, which ends the import and undoes it");
    }
  }

  void examine_single_values() {
    Reader file = open(kSingleValueFile);
    if (!file) return;
    int const count = file->number(kCommon, "SectionNum");
    for (int i = 1; i <= count && !ends(*file, numbered("Section", i)); ++i) {
      file->values(numbered("Section", i), {{"KeyName", VALUE_TEXT, Fate::kUsed},
                                            {"ValueName", VALUE_TEXT, Fate::kUsed},
                                            {"Value", VALUE_ANY}});
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
      if (!result_.asked.contains(name)) {
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
  Examination result_;
  FileSet policies_;
  FileSet tasks_;
  FileSet read_;
};

}  // namespace

Examination examine_package(std::string const& folder, std::function<void()> const& go_on) {
  return Examiner(folder, go_on).examine();
}

}  // namespace zeva
