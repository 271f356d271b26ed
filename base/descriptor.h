// An open descriptor that somebody owns.
#pragma once

#include <errno.h>
#include <unistd.h>

#include <utility>

namespace zeva {

// Closes its descriptor; -1 is none. Closing leaves errno alone, so that what failed before it can
// still be told. No heap, so it may stand where the watchdog jumps to and in a signal handler. A
// jump out of its scope leaves the descriptor open.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor() {
    int const error = errno;
    if (fd_ >= 0) close(fd_);
    errno = error;
  }
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }

  explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

}  // namespace zeva
