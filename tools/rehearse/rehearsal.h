// A rehearsal, in its sandbox: copies the store, examines the package, runs the migration and
// prints what it did.
#pragma once

#include <string>

namespace zeva {

// The package's name in the sandbox when its own cannot be used there.
inline constexpr char kRenamedPackage[] = "/tmp/.zeva-rehearsal/renamed-package";

// `config` is the folder that the store is copied from, `given` a package or a folder of export
// files. Returns the run's exit status, or kFailed.
[[nodiscard]] int rehearse(std::string const& config, std::string const& given, bool json);

}  // namespace zeva
