// Whole files by name, where the name may turn out to be something else: a folder, a device or a
// pipe in a file's place is refused, never waited for.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace zeva {

// No file that is read whole needs to be larger; one that is would fill the memory. The pages on
// export files and log codes name this size.
constexpr size_t kLargestFile = size_t{256} << 20;

// The whole of an open regular file, from where the descriptor stands. False when it is not
// a regular file, is too large, cannot be read to its end or does not fit into memory.
[[nodiscard]] bool read_regular(int fd, std::string& content);

// The same by name. Follows links.
[[nodiscard]] bool read_regular(std::string const& path, std::string& content);

// An empty regular file open for writing, new or truncated, which the caller closes; null when
// there can be none of that name.
[[nodiscard]] FILE* create_regular(std::string const& path);

}  // namespace zeva
