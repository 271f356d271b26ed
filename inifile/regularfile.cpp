#include "regularfile.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <exception>

namespace {

bool is_regular(int fd, struct stat& status) {
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

// Reads until the end whatever size was announced: the file may have grown since, and may hold less
// than it claims. So the announced size is only set aside, and used as far as there is something to
// put there.
bool read_to_end(int fd, size_t announced, std::string& content) {
  constexpr size_t kStep = size_t{256} << 10;
  size_t length = 0;
  content.clear();
  content.reserve(announced + 1);
  for (;;) {
    if (length == content.size()) {
      size_t const spare = content.capacity() - length;
      content.resize(length + (spare == 0 ? kStep : std::min(spare, kStep)));
    }
    ssize_t const got = read(fd, content.data() + length, content.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    length += static_cast<size_t>(got);
    if (length > zeva::kLargestFile) return false;
  }
  content.resize(length);
  return true;
}

}  // namespace

bool zeva::read_regular(int fd, std::string& content) {
  struct stat status;
  if (!is_regular(fd, status)) return false;
  if (static_cast<uintmax_t>(status.st_size) > kLargestFile) return false;
  try {
    return read_to_end(fd, static_cast<size_t>(status.st_size), content);
  } catch (std::exception const&) {
    return false;
  }
}

bool zeva::read_regular(std::string const& path, std::string& content) {
  int const fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return false;
  bool const done = read_regular(fd, content);
  close(fd);
  return done;
}

FILE* zeva::create_regular(std::string const& path) {
  // Truncated only once it is known to be a file.
  int const fd = open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
  if (fd < 0) return nullptr;
  struct stat status;
  FILE* file = is_regular(fd, status) && ftruncate(fd, 0) == 0 ? fdopen(fd, "w") : nullptr;
  if (file == nullptr) close(fd);
  return file;
}
