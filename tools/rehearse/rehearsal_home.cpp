#include "rehearsal_home.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "files.h"
#include "sandbox.h"
#include "snapshot.h"

namespace fs = std::filesystem;

namespace zeva {
namespace {

constexpr char const* kStoreFiles[] = {kSnapshotFile, kLogFile, kBackupFile};
std::string const kHome = kScratchHome;
std::string const kConfig = kHome + "/config";
std::string const kOriginal = std::string(kScratchFolder) + "/original";

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
  file.bytes.resize(static_cast<size_t>(file.info.st_size));
  size_t filled = 0;
  while (filled < file.bytes.size()) {
    ssize_t const got = pread(file.file.get(), file.bytes.data() + filled,
                              file.bytes.size() - filled, static_cast<off_t>(filled));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    if (got == 0) break;
    filled += static_cast<size_t>(got);
  }
  file.bytes.resize(filled);
  return 0;
}

// Reads the three files as they were at one moment. 0, an errno, or EAGAIN when the server was
// faster.
int read_store_once(std::string const& config, StoreFile (&files)[3]) {
  for (size_t i = 0; i < 3; ++i) {
    std::string const path = config + kStoreFiles[i];
    files[i].file = Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (files[i].file.get() < 0 && errno != ENOENT) return errno;
    if (files[i].file.get() < 0) continue;
    if (fstat(files[i].file.get(), &files[i].info) != 0) return errno;
    if (!S_ISREG(files[i].info.st_mode)) return EINVAL;
    if (int const failure = read_all(files[i])) return failure;
  }
  for (size_t i = 0; i < 3; ++i) {
    if (!still_there(config + kStoreFiles[i], files[i])) return EAGAIN;
  }
  return 0;
}

int read_store(std::string const& config, StoreFile (&files)[3]) {
  constexpr int kTries = 100;
  for (int i = 1;; ++i) {
    int const failure = read_store_once(config, files);
    if (failure != EAGAIN || i == kTries) return failure;
    usleep(20000);
  }
}

}  // namespace

std::string RehearsalHome::lay_out(std::string const& config) {
  StoreFile files[3];
  if (int const error = read_store(config, files)) {
    return std::string("the store cannot be read: ") + strerror(error);
  }
  std::error_code failure;
  for (std::string const& folder : {kHome + "/xhtml/en/download", kOriginal}) {
    if (!fs::create_directories(folder, failure)) return folder + ": " + failure.message();
  }
  for (size_t i = 0; i < 3; ++i) {
    if (files[i].file.get() < 0) continue;
    had_store_ = true;
    for (std::string const& copy : {kOriginal, kConfig}) {
      if (int const error = write_new_file(copy + kStoreFiles[i], files[i].bytes)) {
        return std::string("the store cannot be copied: ") + strerror(error);
      }
    }
  }
  return "";
}

LoadedStore RehearsalHome::load_original() const {
  if (had_store_) return load_store(kOriginal);
  LoadedStore store;
  std::string bytes;
  auto root = std::make_unique<Key>();
  if (int const error = read_file(kConfig + "/factory.xml", bytes)) {
    store.failure = std::string("the factory's store cannot be read: ") + strerror(error);
  } else if (read_snapshot(bytes, *root, store.generation, store.failure)) {
    store.root = std::move(root);
  }
  return store;
}

LoadedStore RehearsalHome::load_current() const {
  return load_store(kConfig);
}

}  // namespace zeva
