// Notes which files a rehearsed migration opens, so that every line of its log can be told the
// export file it came from.
//
// zeva-rehearse has this loaded into the tool, first in LD_PRELOAD. For each file that the tool
// opens, the file's size at that moment and its path are appended to the file named by
// ZEVA_WITNESS: the size in decimal, a blank, the path, a NUL. The log is opened anew for each
// line, so its own entries say where each line begins and between which other files it was written.
// Programs that the tool starts are not observed.

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int notes = -1;

using Open = int (*)(char const*, int, ...);
using OpenAt = int (*)(int, char const*, int, ...);

template <class Function>
Function next(char const* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void start() {
  if (char const* path = getenv("ZEVA_WITNESS")) {
    static auto const real = next<Open>("open64");
    notes = real(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  }
  char const* const loaded = getenv("LD_PRELOAD");
  char const* const others = loaded != nullptr ? strchr(loaded, ':') : nullptr;
  if (others != nullptr) {
    setenv("LD_PRELOAD", others + 1, 1);
  } else {
    unsetenv("LD_PRELOAD");
  }
  unsetenv("ZEVA_WITNESS");
}

// What cannot be noted is left out: the tool must not notice.
int note(int fd) {
  struct stat info;
  if (notes < 0 || fd < 0 || fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return fd;
  char link[32];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  char entry[32 + PATH_MAX];
  int const digits = snprintf(entry, 32, "%lld ", static_cast<long long>(info.st_size));
  ssize_t const length = readlink(link, entry + digits, PATH_MAX);
  if (length <= 0) return fd;
  size_t const end = static_cast<size_t>(digits) + static_cast<size_t>(length);
  entry[end] = '\0';
  if (write(notes, entry, end + 1) < 0) notes = -1;
  return fd;
}

mode_t mode_of(int flags, va_list arguments) {
  bool const has_mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return has_mode ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

#define OBSERVED __attribute__((visibility("default")))

#define OBSERVE_OPEN(name)                                         \
  extern "C" OBSERVED int name(char const* path, int flags, ...) { \
    static auto const real = next<Open>(#name);                    \
    va_list arguments;                                             \
    va_start(arguments, flags);                                    \
    mode_t const mode = mode_of(flags, arguments);                 \
    va_end(arguments);                                             \
    return note(real(path, flags, mode));                          \
  }

#define OBSERVE_OPENAT(name)                                               \
  extern "C" OBSERVED int name(int at, char const* path, int flags, ...) { \
    static auto const real = next<OpenAt>(#name);                          \
    va_list arguments;                                                     \
    va_start(arguments, flags);                                            \
    mode_t const mode = mode_of(flags, arguments);                         \
    va_end(arguments);                                                     \
    return note(real(at, path, flags, mode));                              \
  }

OBSERVE_OPEN(open64)
OBSERVE_OPENAT(openat64)
