// Holds a kept plan against what is there now.
//
// Exit statuses: 0 when it is as the plan says, kDiffers when not, kFailed when it cannot be told.
#pragma once

#include <string>

namespace zeva {

inline constexpr int kDiffers = 3;

// Before the migration: are package and store still those that were rehearsed? `package` and `home`
// are looked at in place of the plan's unless they are empty.
[[nodiscard]] int check_plan(std::string const& file, std::string const& package,
                             std::string const& home);

// After the migration: has the store become what was planned?
[[nodiscard]] int verify_plan(std::string const& file, std::string const& home);

}  // namespace zeva
