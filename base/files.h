// Whole files, read and written with care: what is not a regular file is refused, links are not
// followed, and a file is new and on the disk before anyone sees it. Results are 0 or an errno.
#pragma once

#include "descriptor.h"

#include <stdint.h>
#include <sys/types.h>

#include <string>
#include <string_view>

namespace zeva {

// open(2) with O_NONBLOCK, for those who must not wait for the writer of a pipe. A server that just
// looks who has its log open turns them away for a microsecond; then they try again. No heap.
[[nodiscard]] Descriptor open_without_waiting(char const* path, int flags, mode_t mode = 0);

// The rest of an open regular file. EINVAL when it is none, EFBIG when it is larger than `largest`
// bytes. Memory follows what is read, whatever size the file claims.
[[nodiscard]] int read_regular(int fd, std::string& bytes, uint64_t largest = UINT64_MAX);

// The whole of the file at a path, which must not be a link. Never waits for the writer of a pipe
// that stands in its place.
[[nodiscard]] int read_file(std::string const& path, std::string& bytes);

// Reads from a place of a file, wherever the descriptor stands. `size` is how much is wanted, and
// afterwards how much there was: less at the file's end alone. No heap.
[[nodiscard]] int read_at(int fd, size_t place, char* bytes, size_t& size);

// Writes all bytes to a descriptor. No heap.
[[nodiscard]] int write_all(int fd, std::string_view bytes);

// Makes a file of mode 0600 that holds the bytes and is on the disk, in place of a file left under
// that name; nothing is left there on failure.
[[nodiscard]] int write_new_file(std::string const& path, std::string_view bytes);

[[nodiscard]] int rename_file(std::string const& from, std::string const& to);

// Makes durable what a file holds, whoever has written it.
[[nodiscard]] int sync_file(std::string const& path);

// Makes the names in a folder durable.
[[nodiscard]] int sync_folder(std::string const& path);

// Gives a file a second name that no file has yet: `aside` + "-1", "-2" and so on. Returns the
// name, empty when there can be none.
[[nodiscard]] std::string keep_aside(std::string const& path, std::string const& aside);

}  // namespace zeva
