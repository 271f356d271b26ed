// The files of policies: one for the top policy, one for each below it.
#pragma once

#include "export_keys.h"

namespace zeva {

inline constexpr ExportKey kPolicyName = {"name", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kConditionCount = {"conditionNum", VALUE_NUMBER, Fate::kUsed};
inline constexpr ExportKey kInactiveCount = {"inactiveNum", VALUE_NUMBER, Fate::kUsed};
inline constexpr ExportKey kSubPolicyCount = {"subPolicyNum", VALUE_NUMBER, Fate::kUsed};
inline constexpr ExportKey kTaskCount = {"taskNum", VALUE_NUMBER, Fate::kUsed};
inline constexpr ExportKey kPolicyKeys[] = {
    kPolicyName,
    {"comment", VALUE_TEXT},
    {"displayName", VALUE_TEXT},
    {"order", VALUE_NUMBER},
    {"matchType", VALUE_NUMBER},
    kConditionCount,
    kInactiveCount,
    kSubPolicyCount,
    kTaskCount,
};
inline constexpr ExportSection kPolicy = {kCommon, kPolicyKeys, "registry\\policy\\Rule"};

inline constexpr ExportKey kCondition = {"condition%d", VALUE_TEXT};
inline constexpr ExportSection kConditions = {"condition", kCondition, kPolicy.stored_in};
inline constexpr ExportKey kInactiveTask = {"inactive%d", VALUE_TEXT};
inline constexpr ExportSection kInactiveTasks = {"inactive", kInactiveTask, "inactive"};

inline constexpr ExportKey kTaskFileName = {"filename", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportSection kTask = {"task%d", kTaskFileName};

inline constexpr ExportKey kSubPolicyName = {"name", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kSubPolicyFileName = {"filename", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kSubPolicyKeys[] = {kSubPolicyName, kSubPolicyFileName};
inline constexpr ExportSection kSubPolicy = {"policy%d", kSubPolicyKeys};
inline constexpr char kSubPolicies[] = "rules";  // the key in a policy's that holds those below it

inline constexpr ExportSection kPolicySections[] = {kPolicy, kConditions, kInactiveTasks, kTask,
                                                    kSubPolicy};

}  // namespace zeva
