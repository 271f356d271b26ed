#include "examine_task.h"

#include "list_walk.h"

#include <algorithm>
#include <string>
#include <vector>

namespace zeva {
namespace {

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

// A task's part is written whole or not at all.
void report_part(ExportReader& file, std::string const& part) {
  std::string const place = file.take_unreadable();
  if (place.empty()) return;
  file.report("partial", part, "is not imported: " + place + " cannot be read");
}

void examine_virus_task(ExportReader& file) {
  bool const classified = file.values("classification", kVirusClassifications);
  report_part(file, "classification");
  file.values("setting", kVirusSettings);
  report_part(file, "setting");
  if (!classified) {
    file.report("partial", "setting", "is not imported, because classification is not");
  }
}

void examine_spam_classes(ExportReader& file, std::string const& section, bool shown) {
  file.values(section, {{"Passed", VALUE_TEXT},
                        {"Blocklist_Triggered", VALUE_TEXT},
                        {"Phish_Triggered", VALUE_TEXT}});
  for (std::string const category : kSpamCategories) {
    for (std::string const level : kSpamLevels) {
      if (!shown && level == "Default") continue;
      file.value(section, std::string(category).append("_").append(level), VALUE_TEXT);
    }
  }
  report_part(file, section);
}

void examine_mail_lists(ExportReader& file) {
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
  for (size_t i = 0; i < sizes.size(); ++i) {
    std::string const list = kMailLists[i];
    std::string const stem = "l_" + list + "_";
    auto const held = held_keys(file.file(), section, stem, sizes[i]);
    for (int const n : held) file.value(section, numbered(stem, n), VALUE_LIST);
    file.report_missing(held, std::string(section).append(".size_").append(list), sizes[i]);
  }
  file.take_unreadable();
}

void examine_spam_task(ExportReader& file) {
  examine_spam_classes(file, "classification", false);
  bool const set = file.values("setting", kSpamSettings);
  report_part(file, "setting");
  examine_spam_classes(file, "Classification_UI", true);
  if (!set) {
    file.report("partial", "Classification_UI", "is not imported, because setting is not");
  }
  examine_mail_lists(file);
}

void examine_content_task(ExportReader& file, ContentTask const& kind) {
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

}  // namespace

void examine_task(ExportReader& file) {
  bool const head = file.values(kCommon, kTaskHead);
  std::string const place = file.take_unreadable();
  int const filter = head ? file.number(kCommon, "filter") : 0;
  auto const* content = std::find_if(std::begin(kContentTasks), std::end(kContentTasks),
                                     [&](auto const& kind) { return kind.filter == filter; });
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

}  // namespace zeva
