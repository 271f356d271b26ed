#include "regularfile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <exception>

namespace {

// Reads until the end whatever size was announced: the file may have grown since.
bool read_to_end(int fd, size_t expected, std::string& content) {
  size_t length = 0;
  content.resize(expected + 1);
  for (;;) {
    ssize_t const got = read(fd, content.data() + length, content.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    length += static_cast<size_t>(got);
    if (length == content.size()) content.resize(std::max<size_t>(2 * length, 4096));
  }
  content.resize(length);
  return true;
}

}  // namespace

bool zeva::read_regular(int fd, std::string& content) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  if (static_cast<uintmax_t>(status.st_size) >= content.max_size()) {
    errno = EFBIG;
    return false;
  }
  try {
    return read_to_end(fd, static_cast<size_t>(status.st_size), content);
  } catch (std::exception const&) {
    errno = ENOMEM;
    return false;
  }
}

bool zeva::read_regular(std::string const& path, std::string& content) {
  int const fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return false;
  bool const done = read_regular(fd, content);
  int const reason = errno;
  close(fd);
  errno = reason;
  return done;
}
