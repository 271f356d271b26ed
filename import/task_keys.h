// The files of tasks: what all have in common, and what each kind has beside that.
#pragma once

#include "export_keys.h"

#include <iterator>
#include <string_view>

namespace zeva {

inline constexpr ExportKey kTaskName = {"name", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kTaskFilter = {"filter", VALUE_NUMBER};
inline constexpr ExportKey kTaskKeys[] = {
    kTaskName,
    {"order", VALUE_NUMBER},
    kTaskFilter,
    {"enable", VALUE_NUMBER},
    {"overridable", VALUE_NUMBER},
    {"comment", VALUE_TEXT},
    {"displayName", VALUE_TEXT},
};
inline constexpr ExportSection kTaskHead = {kCommon, kTaskKeys, "tasks"};
inline constexpr ExportSection kTaskSections[] = {kTaskHead};

// Virus scan.

inline constexpr int kVirusTask = 0x10001;
inline constexpr ExportKey kVirusClassKeys[] = {
    {"Mass_Mailing", VALUE_TEXT},      {"VirusFound_UnSafe", VALUE_TEXT},
    {"Joke_VirusFound", VALUE_TEXT},   {"Uncertain", VALUE_TEXT},
    {"PasswordProtected", VALUE_TEXT}, {"VirusFound_Safe", VALUE_TEXT},
    {"BOT_Virus", VALUE_TEXT},         {"No_Virus", VALUE_TEXT},
};
inline constexpr ExportSection kVirusClasses = {"classification", kVirusClassKeys,
                                                "Classification"};
inline constexpr ExportKey kVirusSettingKeys[] = {
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
inline constexpr ExportSection kVirusSettings = {"setting", kVirusSettingKeys, "setting"};
inline constexpr ExportSection kVirusSections[] = {kVirusClasses, kVirusSettings};

// Anti-spam.

inline constexpr int kSpamTask = 0x30001;
inline constexpr ExportKey kSpamClassKeys[] = {
    {"Passed", VALUE_TEXT},
    {"Blocklist_Triggered", VALUE_TEXT},
    {"Bulk_MostConfident", VALUE_TEXT},
    {"Bulk_VeryConfident", VALUE_TEXT},
    {"Bulk_Confident", VALUE_TEXT},
    {"Bulk_LeastConfident", VALUE_TEXT},
    {"Phish_Triggered", VALUE_TEXT},
    {"Porn_MostConfident", VALUE_TEXT},
    {"Porn_VeryConfident", VALUE_TEXT},
    {"Porn_Confident", VALUE_TEXT},
    {"Porn_LeastConfident", VALUE_TEXT},
    {"MMF_MostConfident", VALUE_TEXT},
    {"MMF_VeryConfident", VALUE_TEXT},
    {"MMF_Confident", VALUE_TEXT},
    {"MMF_LeastConfident", VALUE_TEXT},
    {"Commercial_MostConfident", VALUE_TEXT},
    {"Commercial_VeryConfident", VALUE_TEXT},
    {"Commercial_Confident", VALUE_TEXT},
    {"Commercial_LeastConfident", VALUE_TEXT},
    {"Racist_MostConfident", VALUE_TEXT},
    {"Racist_VeryConfident", VALUE_TEXT},
    {"Racist_Confident", VALUE_TEXT},
    {"Racist_LeastConfident", VALUE_TEXT},
};
inline constexpr ExportSection kSpamClasses = {"classification", kSpamClassKeys, "Classification"};

// The console's own list: a default for each category, and the bulk levels in the order in which
// it shows them.
inline constexpr ExportKey kShownSpamClassKeys[] = {
    {"Passed", VALUE_TEXT},
    {"Blocklist_Triggered", VALUE_TEXT},
    {"Bulk_Confident", VALUE_TEXT},
    {"Bulk_Default", VALUE_TEXT},
    {"Bulk_LeastConfident", VALUE_TEXT},
    {"Bulk_MostConfident", VALUE_TEXT},
    {"Bulk_VeryConfident", VALUE_TEXT},
    {"Phish_Triggered", VALUE_TEXT},
    {"Porn_Default", VALUE_TEXT},
    {"Porn_MostConfident", VALUE_TEXT},
    {"Porn_VeryConfident", VALUE_TEXT},
    {"Porn_Confident", VALUE_TEXT},
    {"Porn_LeastConfident", VALUE_TEXT},
    {"MMF_Default", VALUE_TEXT},
    {"MMF_MostConfident", VALUE_TEXT},
    {"MMF_VeryConfident", VALUE_TEXT},
    {"MMF_Confident", VALUE_TEXT},
    {"MMF_LeastConfident", VALUE_TEXT},
    {"Commercial_Default", VALUE_TEXT},
    {"Commercial_MostConfident", VALUE_TEXT},
    {"Commercial_VeryConfident", VALUE_TEXT},
    {"Commercial_Confident", VALUE_TEXT},
    {"Commercial_LeastConfident", VALUE_TEXT},
    {"Racist_Default", VALUE_TEXT},
    {"Racist_MostConfident", VALUE_TEXT},
    {"Racist_VeryConfident", VALUE_TEXT},
    {"Racist_Confident", VALUE_TEXT},
    {"Racist_LeastConfident", VALUE_TEXT},
};
inline constexpr ExportSection kShownSpamClasses = {"Classification_UI", kShownSpamClassKeys,
                                                    "Classification_UI"};

inline constexpr ExportKey kDetectionRate = {"BaselineDetectionRate", VALUE_NUMBER};
inline constexpr ExportKey kControllingPolicy = {"ControllingPolicyPath", VALUE_TEXT};
inline constexpr ExportKey kSpamSettingKeys[] = {
    kDetectionRate,
    {"PornMultiplier", VALUE_NUMBER},
    {"MMFMultiplier", VALUE_NUMBER},
    {"CommercialMultiplier", VALUE_NUMBER},
    {"RacistMultiplier", VALUE_NUMBER},
    {"tmp_taskActive", VALUE_NUMBER},
    {"tmp_wblistActive", VALUE_NUMBER},
    kControllingPolicy,
};
inline constexpr ExportSection kSpamSettings = {"setting", kSpamSettingKeys, "setting"};

// The white (WL) and black (BL) lists: those users edit, fixed ones, and those subscribed to. Their
// lengths first, then their entries, in the same order.
inline constexpr ExportKey kMailListHeadKeys[] = {
    {"active", VALUE_NUMBER},      {"size_editWL", VALUE_NUMBER},   {"size_noEditWL", VALUE_NUMBER},
    {"size_editBL", VALUE_NUMBER}, {"size_noEditBL", VALUE_NUMBER}, {"size_subsWL", VALUE_NUMBER},
    {"size_subsBL", VALUE_NUMBER},
};
inline constexpr std::span kMailListSizes = std::span(kMailListHeadKeys).subspan<1>();
inline constexpr ExportKey kMailListKeys[] = {
    {"l_editWL_%d", VALUE_LIST},   {"l_noEditWL_%d", VALUE_LIST}, {"l_editBL_%d", VALUE_LIST},
    {"l_noEditBL_%d", VALUE_LIST}, {"l_subsWL_%d", VALUE_LIST},   {"l_subsBL_%d", VALUE_LIST},
};
static_assert(std::size(kMailListKeys) == kMailListSizes.size());
inline constexpr ExportSection kMailListHead = {"blackwhitelist", kMailListHeadKeys,
                                                "WhiteBlackLists\\Global"};
inline constexpr ExportSection kMailLists = {kMailListHead.name, kMailListKeys,
                                             kMailListHead.stored_in};
inline constexpr ExportSection kSpamSections[] = {kSpamClasses, kShownSpamClasses, kSpamSettings,
                                                  kMailListHead, kMailLists};

// Content, whose sections hold whatever the rules of a task took. Without these it would do
// nothing.
struct RequiredSection {
  std::string_view name;
  bool is_stem = false;  // any section whose name begins so will do

  constexpr bool is(std::string_view section) const {
    return is_stem ? section.starts_with(name) : section == name;
  }
};

inline constexpr RequiredSection kGeneralTask[] = {{"classification"}, {"setting"}};
inline constexpr RequiredSection kExpressionTask[] = {
    {"classification"}, {"setting"}, {"expression", true}};
inline constexpr RequiredSection kAttachmentTask[] = {
    {"classification"}, {"setting"}, {"attachment"}};
inline constexpr RequiredSection kSizeTask[] = {{"classification"}, {"setting"}, {"size"}};
inline constexpr RequiredSection kDisclaimerTask[] = {
    {"classification"}, {"setting"}, {"disclaimer"}};

}  // namespace zeva
