#include "files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace zeva {

namespace {

int sync_opened(std::string const& path, int how) {
  Descriptor const opened(open(path.c_str(), O_RDONLY | O_CLOEXEC | how));
  if (!opened) return errno;
  return fsync(opened.get()) == 0 ? 0 : errno;
}

}  // namespace

int read_regular(int fd, std::string& bytes, uint64_t largest) {
  constexpr size_t kStep = size_t{256} << 10;  // so much is touched ahead of what is read
  constexpr uint64_t kMostSetAside = uint64_t{256} << 20;
  struct stat about;
  if (fstat(fd, &about) != 0) return errno;
  if (!S_ISREG(about.st_mode)) return EINVAL;
  uint64_t const announced = static_cast<uint64_t>(about.st_size);
  if (announced > largest) return EFBIG;

  // The announced size is only set aside, and used as far as there is something to put there: the
  // file may have grown since, and may hold less than it claims.
  size_t length = 0;
  bytes.clear();
  bytes.reserve(static_cast<size_t>(std::min(announced, kMostSetAside)) + 1);
  while (true) {
    if (length == bytes.size()) {
      size_t const spare = bytes.capacity() - length;
      bytes.resize(length + (spare == 0 ? kStep : std::min(spare, kStep)));
    }
    ssize_t const got = read(fd, bytes.data() + length, bytes.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) break;
    length += static_cast<size_t>(got);
    if (length > largest) return EFBIG;
  }
  bytes.resize(length);
  return 0;
}

Descriptor open_without_waiting(char const* path, int flags, mode_t mode) {
  Descriptor file(open(path, flags | O_NONBLOCK, mode));
  for (int attempt = 0; !file && errno == EWOULDBLOCK && attempt < 100; ++attempt) {
    usleep(1000);
    file = Descriptor(open(path, flags | O_NONBLOCK, mode));
  }
  return file;
}

int read_file(std::string const& path, std::string& bytes) {
  Descriptor const file =
      open_without_waiting(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
  return file ? read_regular(file.get(), bytes) : errno;
}

int read_at(int fd, size_t place, char* bytes, size_t& size) {
  size_t filled = 0;
  while (filled < size) {
    ssize_t const got =
        pread(fd, bytes + filled, size - filled, static_cast<off_t>(place + filled));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) break;
    filled += static_cast<size_t>(got);
  }
  size = filled;
  return 0;
}

int write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return written < 0 ? errno : EIO;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

int write_new_file(std::string const& path, std::string_view bytes) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) return errno;
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return errno;
  int error = write_all(file.get(), bytes);
  if (error == 0 && fsync(file.get()) != 0) error = errno;
  if (close(file.release()) != 0 && error == 0) error = errno;
  if (error != 0) unlink(path.c_str());
  return error;
}

int rename_file(std::string const& from, std::string const& to) {
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int sync_file(std::string const& path) {
  return sync_opened(path, O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
}

int sync_folder(std::string const& path) {
  return sync_opened(path, O_DIRECTORY);
}

std::string keep_aside(std::string const& path, std::string const& aside) {
  for (int number = 1; number < 1000; ++number) {
    std::string name = aside + "-" + std::to_string(number);
    if (link(path.c_str(), name.c_str()) == 0) return name;
    if (errno != EEXIST) break;
  }
  return {};
}

}  // namespace zeva
