// The files of a store as they were at one moment, read while a server may be at work.
#pragma once

#include "loader.h"

#include <array>
#include <optional>
#include <string>

namespace zeva {

inline constexpr char const* kStoreFiles[] = {kSnapshotFile, kLogFile, kBackupFile};

// The bytes of each of kStoreFiles; nothing for one that is not there.
using StoreCopy = std::array<std::optional<std::string>, 3>;

// Reads the store in a folder `config` into an empty `copy`. 0, or an errno; EAGAIN when the files
// were replaced again and again while they were read.
[[nodiscard]] int read_store(std::string const& config, StoreCopy& copy);

}  // namespace zeva
