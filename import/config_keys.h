// The files of general settings: exceptions, scan limits, quarantine areas.
#pragma once

#include "export_keys.h"

namespace zeva {

inline constexpr ExportKey kExceptionKeys[] = {
    {"ProcessErrorCls", VALUE_TEXT},
    {"EncryptedMessageCls", VALUE_TEXT},
};
inline constexpr ExportSection kExceptions = {kCommon, kExceptionKeys, "registry\\config"};
inline constexpr ExportSection kExceptionSections[] = {kExceptions};

inline constexpr ExportKey kScanLimitKeys[] = {
    {"MaxVirusCount", VALUE_NUMBER},      {"MaxEntityCount", VALUE_NUMBER},
    {"MaxDecompressCount", VALUE_NUMBER}, {"MaxDecompressDepth", VALUE_NUMBER},
    {"MaxDecompressSize", VALUE_NUMBER},  {"MaxScanSize", VALUE_NUMBER},
    {"MultipleCleanLayer", VALUE_NUMBER},
};
inline constexpr ExportKey kFrontScanLimitKeys[] = {{"uiMaxFrontScanSize", VALUE_NUMBER}};
inline constexpr ExportSection kScanLimits = {kCommon, kScanLimitKeys,
                                              "registry\\config\\FilterManager\\0001\\0001"};
inline constexpr ExportSection kFrontScanLimits = {kCommon, kFrontScanLimitKeys,
                                                   "registry\\config\\FilterManager\\0002"};
inline constexpr ExportSection kScanLimitSections[] = {kScanLimits, kFrontScanLimits};

inline constexpr ExportKey kAreaCount = {"FileNum", VALUE_NUMBER, Fate::kUsed};
inline constexpr ExportKey kAreaName = {"AreaName", VALUE_TEXT};
inline constexpr ExportKey kAreaShownName = {"DisplayName", VALUE_TEXT};
inline constexpr ExportKey kAreaPath = {"Path", VALUE_TEXT};
// Where this installation keeps quarantined mail, wherever the old one did.
inline constexpr char kQuarantineFolder[] = "/opt/norva/zeva/queue/quarantine";
inline constexpr ExportKey kAreaKeys[] = {
    kAreaName,
    kAreaShownName,
    kAreaPath,
    {"KeepDate", VALUE_NUMBER},
    {"KeepDateChecked", VALUE_NUMBER},
};
inline constexpr ExportSection kArea = {
    "area%d", kAreaKeys, "registry\\config\\Classification\\0001\\0003\\QuarantineArea"};
inline constexpr ExportSection kQuarantineSections[] = {{kCommon, kAreaCount}, kArea};

}  // namespace zeva
