// Settings packages, opened for a tool as the migration opens them for itself.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace zeva {

// Makes the folder `folder` and unpacks a package into it. `work` is a folder that nobody else can
// enter; it holds the deciphered archive and the package key until this returns. Owners and set-id
// bits that the archive names do not count. It must hold no more than a package may
// (package_limits.h), and fit on the disk: no more than half of what there is room for is unpacked
// before that is known.
//
// `go_on` is called now and then, about every second. Returns why the package cannot be unpacked,
// nothing when it was; until then the folder may hold a part of it.
[[nodiscard]] std::optional<std::string> unpack(std::string const& package, std::string const& work,
                                                std::string const& folder,
                                                std::function<void()> const& go_on);

}  // namespace zeva
