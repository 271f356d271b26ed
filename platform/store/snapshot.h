// A snapshot: the whole registry as an XML file that an administrator can read and compare, and
// the generation that says which log continues it. docs/store-files.md shows one.
#pragma once

#include "tree.h"

#include <stdint.h>

#include <string>
#include <string_view>

namespace zeva {

// The file's bytes, with a checksum in its last line.
[[nodiscard]] std::string write_snapshot(Key const& root, uint64_t generation);

// Whether a snapshot, as which the bytes could be read, bears a checksum: one written by hand does
// not.
[[nodiscard]] bool is_sealed(std::string_view bytes);

// Whether the bytes are a good snapshot, as far as their checksum and their beginning tell: what
// bears a checksum that fits is as write_snapshot gave it. False for a snapshot written by hand,
// good or not.
[[nodiscard]] bool is_intact(std::string_view bytes, uint64_t& generation);

// The checksum of what two good snapshots of one store have in common: all but generation and
// checksum.
[[nodiscard]] uint32_t content_checksum(std::string_view bytes);

// Reads a snapshot into an empty root. A file without the checksum line counts as written by hand
// and is read all the same. On failure: false, `why` says where and what, and the root is unusable.
[[nodiscard]] bool read_snapshot(std::string const& bytes, Key& root, uint64_t& generation,
                                 std::string& why);

}  // namespace zeva
