// The file of extra filters. Filters are numbered from 1, their patterns from 0.
#pragma once

#include "export_keys.h"

namespace zeva {

inline constexpr int kFirstPattern = 0;

inline constexpr ExportKey kEnableKeys[] = {{"enable", VALUE_NUMBER}};
inline constexpr ExportSection kExtraFilters = {kCommon, kEnableKeys, "XFilter"};
inline constexpr ExportKey kExtraFilterCount = {"filterNum", VALUE_NUMBER, Fate::kUsed};

inline constexpr ExportKey kExtraFilterName = {"Name", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kExtraFilterKeys[] = {
    {"Location", VALUE_NUMBER},
    {"CaseSensitive", VALUE_NUMBER},
};
inline constexpr ExportSection kExtraFilter = {"filter%d", kExtraFilterKeys,
                                               kExtraFilters.stored_in};
inline constexpr ExportKey kPatternCount = {"patternNum", VALUE_NUMBER, Fate::kUsed};

inline constexpr ExportKey kPattern = {"Pattern%d", VALUE_TEXT};
inline constexpr char kStoredPattern[] = "Pattern %d";  // with a blank
inline constexpr ExportSection kPatterns = {"filter%d_pattern", kPattern, kExtraFilters.stored_in};

inline constexpr ExportSection kExtraFilterSections[] = {
    kExtraFilters, {kCommon, kExtraFilterCount},       {kExtraFilter.name, kExtraFilterName},
    kExtraFilter,  {kExtraFilter.name, kPatternCount}, kPatterns,
};

}  // namespace zeva
