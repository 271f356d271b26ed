// The files that a package's list of checksums names.
#pragma once

#include <set>
#include <string>

namespace zeva {

// Names relative to the package's folder and in normal form; none when the list cannot be read.
[[nodiscard]] std::set<std::string> listed_files(std::string const& folder);

}  // namespace zeva
