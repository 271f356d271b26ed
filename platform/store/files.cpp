#include "files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace zeva {

Descriptor::~Descriptor() {
  if (fd_ >= 0) close(fd_);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

int Descriptor::release() {
  return std::exchange(fd_, -1);
}

int read_file(std::string const& path, std::string& bytes) {
  // Not to wait for the writer of a pipe that stands in the file's place.
  Descriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (file.get() < 0) return errno;
  struct stat about;
  if (fstat(file.get(), &about) != 0) return errno;
  if (!S_ISREG(about.st_mode)) return EINVAL;

  bytes.clear();
  bytes.reserve(static_cast<size_t>(about.st_size));
  char buffer[65536];
  while (true) {
    ssize_t got = read(file.get(), buffer, sizeof buffer);
    if (got == 0) return 0;
    if (got > 0) bytes.append(buffer, static_cast<size_t>(got));
    if (got < 0 && errno != EINTR) return errno;
  }
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
  if (file.get() < 0) return errno;
  int error = write_all(file.get(), bytes);
  if (error == 0 && fsync(file.get()) != 0) error = errno;
  if (close(file.release()) != 0 && error == 0) error = errno;
  if (error != 0) unlink(path.c_str());
  return error;
}

int rename_file(std::string const& from, std::string const& to) {
  return rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int sync_folder(std::string const& path) {
  Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() < 0) return errno;
  return fsync(folder.get()) == 0 ? 0 : errno;
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
