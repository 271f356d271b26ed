// Walks an unpacked package the way the importers do, without a store, and finds what they would
// leave out, cut or never look at.
#pragma once

#include "finding.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zeva {

// For each file that an importer reads, its sections and keys that are asked for and there.
using AskedKeys = std::map<std::string, std::set<std::pair<std::string, std::string>>>;

struct Examination {
  std::vector<Finding> findings;
  AskedKeys asked;
};

// Calls go_on before each file that is read.
[[nodiscard]] Examination examine_package(
    std::string const& folder, std::function<void()> const& go_on = [] {});

}  // namespace zeva
