// The file of single values, which says by itself where each is stored.
#pragma once

#include "export_keys.h"

namespace zeva {

inline constexpr ExportKey kSingleValueCount = {"SectionNum", VALUE_NUMBER, Fate::kUsed};

inline constexpr ExportKey kValuePath = {"KeyName", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kValueName = {"ValueName", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kValuePlaceKeys[] = {kValuePath, kValueName};
inline constexpr ExportSection kValuePlace = {"Section%d", kValuePlaceKeys};
inline constexpr ExportKey kValue = {"Value", VALUE_ANY};

inline constexpr ExportSection kSingleValueSections[] = {
    {kCommon, kSingleValueCount},
    kValuePlace,
    {kValuePlace.name, kValue},
};

}  // namespace zeva
