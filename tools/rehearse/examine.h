// Walks an unpacked package the way the importers do, without a store, and finds what they would
// leave out, cut or never look at.
#pragma once

#include "finding.h"

#include <functional>
#include <string>
#include <vector>

namespace zeva {

// Calls `go_on` before each file that is read.
[[nodiscard]] std::vector<Finding> examine_package(
    std::string const& folder, std::function<void()> const& go_on = [] {});

}  // namespace zeva
