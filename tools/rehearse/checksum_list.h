// The package's list of checksums, as far as the names in it go.
#pragma once

#include <set>
#include <string>

namespace zeva {

inline constexpr char kChecksumFile[] = "md5.sum";

// Names in the package, relative to its folder and in normal form.
using ChecksumList = std::set<std::string>;

// The names that the list in the folder gives; none when it cannot be read.
[[nodiscard]] ChecksumList read_checksum_list(std::string const& folder);

}  // namespace zeva
