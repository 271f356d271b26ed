#include "filewatch.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <memory>

namespace zeva {

namespace {

constexpr uint32_t kMoved = IN_MOVE_SELF | IN_DELETE_SELF;
constexpr uint32_t kTouched = kMoved | IN_OPEN | IN_CLOSE | IN_ATTRIB;

// A lease is given to the only one who has a file open, and taken back at once. (Who opens the file
// in that microsecond waits, or gets EWOULDBLOCK if he does not want to, and we are sent SIGIO.)
// Where there are no leases, it counts as open elsewhere.
bool is_only_opener(int file) {
  if (fcntl(file, F_SETLEASE, F_WRLCK) != 0) return false;
  return fcntl(file, F_SETLEASE, F_UNLCK) == 0;
}

}  // namespace

void FileWatch::open(std::string const& path, int file) {
  file_ = file;
  events_ = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  std::unique_ptr<char, decltype(&free)> const real(realpath(path.c_str(), nullptr), free);
  bool watched = watch(path, kTouched) && real && path == real.get();
  for (size_t end = path.rfind('/'); watched && end > 0; end = path.rfind('/', end - 1))
    watched = watch(path.substr(0, end), kMoved);
  complete_ = watched;
}

bool FileWatch::watch(std::string const& path, uint32_t events) const {
  return inotify_add_watch(events_.get(), path.c_str(), events) >= 0;
}

bool FileWatch::is_quiet() {
  alignas(inotify_event) char bytes[4096];
  ssize_t got;
  while ((got = read(events_.get(), bytes, sizeof bytes)) > 0) {
    for (char const* at = bytes; at < bytes + got;) {
      auto const* const event = reinterpret_cast<inotify_event const*>(at);
      written_ = written_ || (event->mask & IN_CLOSE_WRITE) != 0;
      at += sizeof *event + event->len;
    }
    quiet_ = false;
  }
  return quiet_ && errno == EAGAIN;
}

void FileWatch::settle() {
  quiet_ = complete_ && is_only_opener(file_);
}

}  // namespace zeva
