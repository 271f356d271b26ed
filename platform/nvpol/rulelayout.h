// Where rules keep what belongs to them.
//
//   hive   Rule\Mail          the root rule
//   rule   rules\NAME         a sub-rule
//   rule   condition1 ...     values, each "sender;recipient"
//   rule   inactive           a key with values inactive1 ..., each the name of a task
//   rule   tasks\NAME         a task
//   task   Classification     a key with a value for each outcome
#pragma once

#include "nvpol.h"

#include <string>

namespace zeva {

inline constexpr char kRootRule[] = "Rule\\Mail";
inline constexpr char kRules[] = "rules";
inline constexpr char kConditionStem[] = "condition";
inline constexpr char kInactive[] = "inactive";
inline constexpr char kTasks[] = "tasks";
inline constexpr char kOutcomes[] = "Classification";

// A condition's text splits at its first ";"; one without is all sender.
struct Condition {
  explicit Condition(std::string const& text)
      : sender(text.substr(0, text.find(';'))),
        recipient(sender.size() < text.size() ? text.substr(sender.size() + 1) : "") {}
  std::string sender;
  std::string recipient;
};

}  // namespace zeva
