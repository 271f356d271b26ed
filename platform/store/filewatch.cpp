#include "filewatch.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace zeva {

namespace {

constexpr uint32_t kMoved = IN_MOVE_SELF | IN_DELETE_SELF;
constexpr uint32_t kTouched = kMoved | IN_OPEN | IN_CLOSE | IN_ATTRIB;

// A lease is given to the only one who has a file open. (Who opens the file meanwhile waits, and we
// are sent SIGIO.) Where there are no leases, it counts as open elsewhere.
bool is_only_opener(int file) {
  if (fcntl(file, F_SETLEASE, F_WRLCK) != 0) return false;
  return fcntl(file, F_SETLEASE, F_UNLCK) == 0;
}

}  // namespace

void FileWatch::open(std::string const& path, int file) {
  events_ = Descriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  std::string const folder = path.substr(0, path.rfind('/'));
  bool const watched = inotify_add_watch(events_.get(), path.c_str(), kTouched) >= 0 &&
                       inotify_add_watch(events_.get(), folder.c_str(), kMoved) >= 0;
  if (!watched) events_ = Descriptor();
  file_ = file;
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
  quiet_ = is_only_opener(file_);
}

}  // namespace zeva
