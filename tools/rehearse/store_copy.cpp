#include "store_copy.h"

#include "files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {
namespace {

constexpr size_t kFiles = std::size(kStoreFiles);
constexpr int kTries = 50;
constexpr useconds_t kPause = 10000;  // microseconds

// One of the store's files, held open: while it is, no new file can take its number.
struct StoreFile {
  Descriptor file;
  struct stat info = {};
  std::string bytes;
};

bool same(timespec const& a, timespec const& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// The log may have grown: what was read of it then ends between two changes, or in a torn one,
// which the store's reader leaves out.
bool still_there(std::string const& path, StoreFile const& file) {
  struct stat now;
  if (stat(path.c_str(), &now) != 0) return file.file.get() < 0;
  bool const is_log = path.ends_with(kLogFile);
  return file.file.get() >= 0 && now.st_dev == file.info.st_dev && now.st_ino == file.info.st_ino &&
         (is_log ? now.st_size >= file.info.st_size : same(now.st_mtim, file.info.st_mtim));
}

int read_all(StoreFile& file) {
  size_t size = static_cast<size_t>(file.info.st_size);
  file.bytes.resize(size);
  int const failure = read_at(file.file.get(), 0, file.bytes.data(), size);
  file.bytes.resize(size);
  return failure;
}

// Reads the three files as they were at one moment. 0, an errno, or EAGAIN when the server was
// faster.
int read_store_once(std::string const& config, std::array<StoreFile, kFiles>& files) {
  for (size_t i = 0; i < kFiles; ++i) {
    std::string const path = config + kStoreFiles[i];
    files[i].file = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (files[i].file.get() < 0 && errno != ENOENT) return errno;
    if (files[i].file.get() < 0) continue;
    if (fstat(files[i].file.get(), &files[i].info) != 0) return errno;
    if (!S_ISREG(files[i].info.st_mode)) return EINVAL;
    if (int const failure = read_all(files[i])) return failure;
  }
  for (size_t i = 0; i < kFiles; ++i) {
    if (!still_there(config + kStoreFiles[i], files[i])) return EAGAIN;
  }
  return 0;
}

}  // namespace

int read_store(std::string const& config, StoreCopy& copy) {
  for (int i = 1;; ++i) {
    std::array<StoreFile, kFiles> files;
    int const failure = read_store_once(config, files);
    if (failure == EAGAIN && i < kTries) {
      usleep(kPause);
      continue;
    }
    for (size_t n = 0; n < kFiles; ++n) {
      if (files[n].file.get() >= 0) copy[n] = std::move(files[n].bytes);
    }
    return failure;
  }
}

}  // namespace zeva
