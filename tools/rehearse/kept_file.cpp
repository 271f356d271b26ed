#include "kept_file.h"

#include "files.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace fs = std::filesystem;

namespace zeva {

KeptFile::~KeptFile() {
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

int KeptFile::make(std::string const& path) {
  struct stat info;
  if (lstat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) return EEXIST;
  std::string name = path + ".XXXXXX";
  file_ = Descriptor(mkstemp(name.data()));
  if (!file_) return errno;
  path_ = path;
  temporary_ = name;
  return 0;
}

bool KeptFile::is_written() const {
  struct stat info;
  return file_ && fstat(file_.get(), &info) == 0 && info.st_size > 0;
}

int KeptFile::keep() {
  if (fsync(file_.get()) != 0) return errno;
  if (int const error = rename_file(temporary_, path_)) return error;
  temporary_.clear();
  return sync_folder(fs::path(path_).parent_path() / ".");
}

}  // namespace zeva
