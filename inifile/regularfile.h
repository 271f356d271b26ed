// Reading files that may turn out to be something else: a folder, a device or a pipe in a file's
// place is refused, never waited for.
#pragma once

#include <string>

namespace zeva {

// The whole of an open regular file, from where the descriptor stands. False, with errno set, when
// it is not a regular file, cannot be read to its end or does not fit into memory.
[[nodiscard]] bool read_regular(int fd, std::string& content);

// The same by name. Follows links.
[[nodiscard]] bool read_regular(std::string const& path, std::string& content);

}  // namespace zeva
