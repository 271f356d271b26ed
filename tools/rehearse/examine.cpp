#include "examine.h"

#include <algorithm>
#include <filesystem>
#include <optional>

#include "checksum_list.h"
#include "export_reader.h"

namespace fs = std::filesystem;

namespace zeva {
namespace {

constexpr char kCommon[] = "common";
constexpr int kWatchdogSeconds = 300;  // and each address group takes one

constexpr AskedKey kTaskHead[] = {
    {"name", VALUE_TEXT, Fate::kUsed}, {"order", VALUE_NUMBER},       {"filter", VALUE_NUMBER},
    {"enable", VALUE_NUMBER},          {"overridable", VALUE_NUMBER}, {"comment", VALUE_TEXT},
    {"displayName", VALUE_TEXT},
};

constexpr AskedKey kVirusClassifications[] = {
    {"Mass_Mailing", VALUE_TEXT},      {"VirusFound_UnSafe", VALUE_TEXT},
    {"Joke_VirusFound", VALUE_TEXT},   {"Uncertain", VALUE_TEXT},
    {"PasswordProtected", VALUE_TEXT}, {"VirusFound_Safe", VALUE_TEXT},
    {"BOT_Virus", VALUE_TEXT},         {"No_Virus", VALUE_TEXT},
};

constexpr AskedKey kVirusSettings[] = {
    {"Zentiscan", VALUE_NUMBER},          {"ScanNorvaExt", VALUE_NUMBER},
    {"ScanUserExcludeExt", VALUE_NUMBER}, {"ScanUserExt", VALUE_NUMBER},
    {"UserExtensions", VALUE_TEXT},       {"UserExcludeExtensions", VALUE_TEXT},
    {"CompressScan", VALUE_NUMBER},       {"ScanLevel", VALUE_NUMBER},
    {"ReplaceWarning", VALUE_NUMBER},     {"ReplaceWarningMsg", VALUE_TEXT},
    {"DoVirusFound", VALUE_NUMBER},       {"DoCleanFailed", VALUE_NUMBER},
    {"VirusAlert", VALUE_TEXT},           {"NoVirusAlert", VALUE_NUMBER},
    {"NoVirusMsg", VALUE_TEXT},           {"SafeStamp", VALUE_NUMBER},
    {"SafeStampMsg", VALUE_TEXT},         {"BOTVirusAction", VALUE_NUMBER},
    {"BOTVirusFeedback", VALUE_NUMBER},   {"BOTVirusScan", VALUE_NUMBER},
    {"SpywareScan", VALUE_NUMBER},
};

constexpr AskedKey kSpamSettings[] = {
    {"BaselineDetectionRate", VALUE_NUMBER}, {"PornMultiplier", VALUE_NUMBER},
    {"MMFMultiplier", VALUE_NUMBER},         {"CommercialMultiplier", VALUE_NUMBER},
    {"RacistMultiplier", VALUE_NUMBER},      {"tmp_taskActive", VALUE_NUMBER},
    {"tmp_wblistActive", VALUE_NUMBER},      {"ControllingPolicyPath", VALUE_TEXT},
};

// Each spam category has these levels; "Default" is the console's alone.
constexpr char const* kSpamCategories[] = {"Bulk", "Porn", "MMF", "Commercial", "Racist"};
constexpr char const* kSpamLevels[] = {"MostConfident", "VeryConfident", "Confident",
                                       "LeastConfident", "Default"};

constexpr char const* kMailLists[] = {"editWL",   "noEditWL", "editBL",
                                      "noEditBL", "subsWL",   "subsBL"};

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

// The sections without which a content-filter task is left half written; the last may be a stem.
struct ContentTask {
  int filter;
  char const* own_section;  // null for none
  bool is_stem;
};
constexpr ContentTask kContentTasks[] = {
    {0x20001, "expression", true}, {0x20002, "attachment", false}, {0x20003, nullptr, false},
    {0x20004, "size", false},      {0x20005, "disclaimer", false}, {0x20006, nullptr, false},
};
constexpr int kVirusTask = 0x10001;
constexpr int kSpamTask = 0x30001;

std::string numbered(std::string const& stem, int number) {
  return stem + std::to_string(number);
}

class Examiner {
 public:
  explicit Examiner(std::string const& folder) : folder_(folder) {}

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
    if (file->read()) return file;
    report("missing", name, "cannot be read as a file of the package");
    return std::nullopt;
  }

  void close(ExportReader& file) {
    file.report_unasked();
    result_.asked[fs::path(file.name()).lexically_normal()] = file.asked();
  }

  void examine_actions() {
    Reader index = open("actionFile.txt");
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
    for (int i = 1; i <= actions && !ends(file, numbered("action", i)); ++i) {
      examine_action(file, numbered("action", i));
    }
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
    Reader file = open("excepton.txt");
    if (!file) return;
    file->values(kCommon, {{"ProcessErrorCls", VALUE_TEXT}, {"EncryptedMessageCls", VALUE_TEXT}});
    close(*file);
  }

  void examine_scan_limits() {
    Reader file = open("scanlimit.txt");
    if (!file) return;
    file->values(kCommon, kScanLimits);
    close(*file);
  }

  void examine_quarantine() {
    Reader file = open("quarantine.txt");
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
    std::vector<PolicyToDo> waiting{{"globalPolicy.txt", 0}};
    std::vector<FileIdentity> ancestors;
    while (!waiting.empty()) {
      PolicyToDo const next = waiting.back();
      waiting.pop_back();
      ancestors.resize(next.depth);
      Reader file(std::in_place, folder_, next.file, result_.findings);
      if (!file->read()) {
        report("skipped", next.file, "the policy and all below it: the file cannot be read");
      } else if (contains(ancestors, file->identity())) {
        report("skipped", next.file, "the policy and all below it: the file is its own ancestor");
      } else if (is_first_time(policies_, file->identity())) {
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
    if (!file->read()) {
      report("skipped", name, "the task: the file cannot be read");
      return;
    }
    if (!is_first_time(tasks_, file->identity())) return;
    examine_task(*file);
    close(*file);
  }

  void examine_task(ExportReader& file) {
    int const filter = file.number(kCommon, "filter");
    bool const head = file.values(kCommon, kTaskHead);
    auto const* content = std::find_if(std::begin(kContentTasks), std::end(kContentTasks),
                                       [&](auto const& kind) { return kind.filter == filter; });
    std::string const place = file.take_unreadable();
    if (!head) {
      file.report("skipped", "", "the task: " + place + " cannot be read");
    } else if (filter == kVirusTask) {
      examine_virus_task(file);
    } else if (filter == kSpamTask) {
      examine_spam_task(file);
    } else if (content != std::end(kContentTasks)) {
      examine_content_task(file, *content);
    } else {
      file.report("skipped", "common.filter",
                  "the task: there is no filter of number " + std::to_string(filter));
    }
  }

  // A task's part is written whole or not at all.
  static void report_part(ExportReader& file, std::string const& part) {
    std::string const place = file.take_unreadable();
    if (place.empty()) return;
    file.report("partial", part, "is not imported: " + place + " cannot be read");
  }

  static void examine_virus_task(ExportReader& file) {
    bool const classified = file.values("classification", kVirusClassifications);
    report_part(file, "classification");
    file.values("setting", kVirusSettings);
    report_part(file, "setting");
    if (!classified) {
      file.report("partial", "setting", "is not imported, because classification is not");
    }
  }

  static void examine_spam_task(ExportReader& file) {
    examine_spam_classes(file, "classification", false);
    file.values("setting", kSpamSettings);
    report_part(file, "setting");
    examine_spam_classes(file, "Classification_UI", true);
    examine_mail_lists(file);
  }

  static void examine_spam_classes(ExportReader& file, std::string const& section, bool shown) {
    file.values(section, {{"Passed", VALUE_TEXT},
                          {"Blocklist_Triggered", VALUE_TEXT},
                          {"Phish_Triggered", VALUE_TEXT}});
    for (std::string const category : kSpamCategories) {
      for (std::string const level : kSpamLevels) {
        if (!shown && level == "Default") continue;
        file.value(section, category + "_" + level, VALUE_TEXT);
      }
    }
    report_part(file, section);
  }

  static void examine_mail_lists(ExportReader& file) {
    std::string const section = "blackwhitelist";
    file.number(section, "active");
    std::vector<int> sizes;
    for (std::string const list : kMailLists) {
      sizes.push_back(file.number(section, "size_" + list));
    }
    if (std::string const place = file.take_unreadable(); !place.empty()) {
      file.report("partial", section, "no list is imported: " + place + " cannot be read");
      return;
    }
    size_t const keys = file.keys(section).size();
    for (size_t i = 0; i < sizes.size(); ++i) {
      std::string const list = kMailLists[i];
      int const size = std::min(sizes[i], static_cast<int>(keys));
      for (int n = 1; n <= size; ++n) {
        file.value(section, numbered("l_" + list + "_", n), VALUE_LIST);
      }
      if (size < sizes[i]) {
        file.report("missing", section + ".size_" + list, "announces more lists than there are");
      }
    }
    file.take_unreadable();
  }

  static void examine_content_task(ExportReader& file, ContentTask const& kind) {
    auto const sections = file.sections();
    auto const require = [&](std::string const& wanted, bool is_stem) {
      if (std::any_of(sections.begin(), sections.end(), [&](std::string const& section) {
            return is_stem ? section.starts_with(wanted) : section == wanted;
          })) {
        return;
      }
      file.report("partial", wanted, "is missing: the task is imported in part only");
    };
    require("classification", false);
    require("setting", false);
    if (kind.own_section != nullptr) require(kind.own_section, kind.is_stem);
    for (std::string const& section : sections) {
      if (section == kCommon) continue;
      file.whole_section(section);
      report_part(file, section);
    }
  }

  void examine_extra_filters() {
    std::error_code ignored;
    if (!fs::exists(folder_ + "/xfilter.txt", ignored)) return;  // not every export has one
    Reader file = open("xfilter.txt");
    if (!file) return;
    file->number(kCommon, "enable");
    int const filters = file->number(kCommon, "filterNum");
    for (int i = 1; i <= filters && !ends(*file, numbered("filter", i)); ++i) {
      examine_extra_filter(*file, numbered("filter", i));
    }
    close(*file);
  }

  static void examine_extra_filter(ExportReader& file, std::string const& section) {
    file.values(section, {{"Name", VALUE_TEXT, Fate::kUsed},
                          {"Location", VALUE_NUMBER},
                          {"CaseSensitive", VALUE_NUMBER}});
    int const patterns = file.number(section, "patternNum");
    std::string const list = section + "_pattern";
    int const there = static_cast<int>(file.keys(list).size());
    for (int i = 0; i < std::min(patterns, there); ++i) {
      file.value(list, numbered("Pattern", i), VALUE_TEXT);
    }
    if (there < patterns) {
      file.report("missing", section + ".patternNum", "announces more patterns than there are");
    }
    if (std::string const place = file.take_unreadable(); !place.empty()) {
      file.report("partial", section, "is not imported whole: " + place + " cannot be read");
    }
  }

  void examine_address_groups() {
    Reader file = open("address.txt");
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
    Reader file = open("misc.txt");
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
    ChecksumList const listed = read_checksum_list(folder_);
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

  std::string const folder_;
  Examination result_;
  FileSet policies_;
  FileSet tasks_;
};

}  // namespace

Examination examine_package(std::string const& folder) {
  return Examiner(folder).examine();
}

}  // namespace zeva
