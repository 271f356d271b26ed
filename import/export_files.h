// All export files under the names that docs/export-files.md has for them, but for what tasks of
// one kind and actions of one type have to themselves: kTaskKinds, kActionTypes.
#pragma once

#include "addr_list_keys.h"
#include "config_keys.h"
#include "filter_action_keys.h"
#include "misc_keys.h"
#include "package_names.h"
#include "policy_keys.h"
#include "task_keys.h"
#include "xfilter_keys.h"

namespace zeva {

struct ExportFile {
  char const* name;
  std::span<ExportSection const> sections;
};

inline constexpr ExportFile kExportFiles[] = {
    {kActionIndex, kActionFiles},
    {kActionFile, kClassSections},
    {kExceptionFile, kExceptionSections},
    {kScanLimitFile, kScanLimitSections},
    {kQuarantineFile, kQuarantineSections},
    {"Policy files", kPolicySections},
    {"Task files", kTaskSections},
    {kExtraFilterFile, kExtraFilterSections},
    {kAddressListFile, kAddressListSections},
    {kSingleValueFile, kSingleValueSections},
};

}  // namespace zeva
