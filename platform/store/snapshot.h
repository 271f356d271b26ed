// A snapshot: the whole registry as an XML file that an administrator can read and compare, and
// the generation that says which log continues it. docs/store-files.md shows one.
#pragma once

#include "tree.h"

#include <stdint.h>

#include <string>

namespace zeva {

// The file's bytes, with a checksum in its last line.
[[nodiscard]] std::string write_snapshot(Key const& root, uint64_t generation);

// Reads a snapshot into an empty root. A file without the checksum line counts as written by hand
// and is read all the same. On failure: false, `why` says where and what, and the root is unusable.
[[nodiscard]] bool read_snapshot(std::string const& bytes, Key& root, uint64_t& generation,
                                 std::string& why);

}  // namespace zeva
