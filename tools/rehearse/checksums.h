// The checksum list of an unpacked package, checked as the run's "md5sum -c" does.
#pragma once

#include "finding.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace zeva {

// Whether the checksums of the package in `folder` hold, told file by file. Returns the files that
// are listed, as plain paths; nothing when there is no list. Calls `go_on` before each file.
[[nodiscard]] std::set<std::string> check_checksums(std::string const& folder,
                                                    std::function<void()> const& go_on,
                                                    std::vector<Finding>& findings);

}  // namespace zeva
