// The files of classifications and their actions.
#pragma once

#include "export_keys.h"

namespace zeva {

inline constexpr ExportKey kActionFileCount = {"FileNum", VALUE_NUMBER, Fate::kUsed};
inline constexpr ExportSection kActionFiles[] = {{kCommon, kActionFileCount}};

inline constexpr ExportKey kClassHidden = {"hidden", VALUE_TEXT};
inline constexpr ExportKey kActionCount = {"actionnum", VALUE_NUMBER, Fate::kUsed};
inline constexpr ExportKey kClassName = {"name", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kClassShownName = {"DisplayName", VALUE_TEXT, Fate::kShownName};
inline constexpr ExportKey kClassComment = {"Comment", VALUE_TEXT, Fate::kRemark};
inline constexpr ExportKey kClassKeys[] = {kClassHidden, kActionCount, kClassName, kClassShownName,
                                           kClassComment};
inline constexpr ExportSection kClass = {kCommon, kClassKeys, "registry\\policy\\Classification"};

inline constexpr ExportKey kActionName = {"name", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kActionComment = {"comment", VALUE_TEXT};
inline constexpr ExportKey kActionShownName = {"displayName", VALUE_TEXT};
inline constexpr ExportKey kActionOrder = {"order", VALUE_NUMBER};
inline constexpr ExportKey kActionType = {"actionType", VALUE_NUMBER};
inline constexpr ExportKey kActionKeys[] = {kActionName, kActionComment, kActionShownName,
                                            kActionOrder, kActionType};
inline constexpr ExportSection kAction = {"action%d", kActionKeys, kClass.stored_in};
inline constexpr ExportSection kClassSections[] = {kClass, kAction};

// An action's values are stored in another order than they are read.
inline constexpr ExportKey kStoredActionKeys[] = {kActionOrder, kActionComment, kActionShownName,
                                                  kActionType};

// What sets an action up, in the action's section.
inline constexpr ExportKey kPostponeKeys[] = {{"PostponeTime", VALUE_NUMBER}};
inline constexpr ExportKey kQuarantineKeys[] = {{"QuarantineArea", VALUE_TEXT}};
inline constexpr ExportKey kForwardKeys[] = {
    {"ForwardLists", VALUE_TEXT},
    {"From", VALUE_TEXT},
    {"Subject", VALUE_TEXT},
    {"Content", VALUE_TEXT},
};
inline constexpr ExportKey kArchiveFolderKeys[] = {{"ArchiveFolder", VALUE_TEXT}};
// Where this installation archives, wherever the old one did.
inline constexpr char kArchiveFolder[] = "/opt/norva/zeva/queue/archive";
inline constexpr ExportKey kArchiveEmailKeys[] = {{"ArchiveMailAccount", VALUE_TEXT}};
inline constexpr ExportKey kNotifyEmailKeys[] = {
    {"SpecifiedAddress", VALUE_TEXT},
    {"MailTargetType", VALUE_NUMBER},
    {"Subject", VALUE_TEXT},
    {"Attachment", VALUE_NUMBER},
    {"OtherAddress", VALUE_TEXT},
    {"BccOrCc", VALUE_NUMBER},
    {"Content", VALUE_TEXT},
    {.name = "Administrator", .type = VALUE_TEXT, .optional = true},
};
inline constexpr ExportKey kContentKeys[] = {{"Content", VALUE_TEXT}};

struct ActionType {
  int type;
  std::span<ExportKey const> keys;
};
inline constexpr ActionType kActionTypes[] = {
    {0x10001, {}},
    {0x10002, kPostponeKeys},
    {0x10003, kQuarantineKeys},
    {0x10004, kForwardKeys},
    {0x10005, kForwardKeys},
    {0x10006, kArchiveFolderKeys},
    {0x10007, kArchiveFolderKeys},
    {0x10008, kArchiveEmailKeys},
    {0x10009, kArchiveEmailKeys},
    {0x1000A, {}},
    {0x20001, kNotifyEmailKeys},
    {0x20002, kContentKeys},
    {0x20003, {}},
    {0x20004, {}},
    {0x20005, {}},
};

}  // namespace zeva
