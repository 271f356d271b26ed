#include "package_guard.h"

#include <fcntl.h>
#include <limits.h>
#include <linux/magic.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <initializer_list>
#include <string>

#include "checksum_list.h"
#include "trusted_open.h"

namespace {

// The path with every link followed; with `keep_last`, the last component is not followed.
std::string real_path(std::string path, bool keep_last) {
  std::string last;
  if (keep_last) {
    size_t slash = path.rfind('/');
    last = "/" + (slash == std::string::npos ? path : path.substr(slash + 1));
    path = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  }
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) return "";
  std::string folder = resolved;
  return folder == "/" ? last : folder + last;
}

// md5sum reads what is listed to its end, and the list itself line by line.
constexpr off_t kLargestFiles = off_t{16} << 30;
constexpr off_t kLargestList = off_t{256} << 20;

// Files of the kernel's own file systems pass for regular ones, but reading may wait for an event.
bool is_of_the_kernel(char const* path) {
  struct statfs where;
  if (statfs(path, &where) != 0) return false;
  for (auto magic : {PROC_SUPER_MAGIC, SYSFS_MAGIC, TRACEFS_MAGIC, DEBUGFS_MAGIC}) {
    if (static_cast<unsigned long>(where.f_type) == static_cast<unsigned long>(magic)) return true;
  }
  return false;
}

// Whether nobody but us and root can put something else at the path of an existing file, a pipe for
// one, after it was looked at.
bool is_settled(char const* path) {
  char real[PATH_MAX];
  if (realpath(path, real) == nullptr) return false;
  std::string name = real;
  struct stat status;
  while (lstat(name.c_str(), &status) == 0) {
    if (!zeva::is_trusted_owner(status.st_uid)) return false;
    // In a folder like /tmp everybody can make a name, but not replace another one's.
    bool const shared = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    if (shared && S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) == 0) return false;
    if (name == "/") return true;
    name.erase(std::max<size_t>(name.rfind('/'), 1));
  }
  return false;
}

// What cannot be opened may be read: md5sum will say so. False when reading can go on for ever.
// Otherwise `size` is how much there is to read.
bool may_be_read(char const* path, off_t& size) {
  size = 0;
  struct stat status;
  if (stat(path, &status) != 0) return true;
  if (S_ISREG(status.st_mode)) {
    size = status.st_size;
    return !is_of_the_kernel(path) && is_settled(path);
  }
  return !S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode) && !S_ISBLK(status.st_mode);
}

bool listed_files_are_safe(zeva::ChecksumList& list, std::string const& folder) {
  off_t total = 0, size;
  for (std::string name; list.next(name);) {
    std::string path = name.starts_with('/') ? name : folder + "/" + name;
    bool is_input = name == "-";
    if (is_input || !may_be_read(path.c_str(), size) || size > kLargestFiles - total) return false;
    total += size;
  }
  return !list.failed();
}

}  // namespace

bool stands_in_the_way(char const* package, char const* working_copy, char const* key_file,
                       char const* unpack_folder) {
  std::string below = real_path(unpack_folder, true) + "/";
  for (bool keep_last : {false, true}) {
    std::string path = real_path(package, keep_last);
    if (path == real_path(working_copy, true) || path == real_path(key_file, true) ||
        path.starts_with(below)) {
      return true;
    }
  }
  return false;
}

bool checksum_list_is_safe(char const* folder) {
  std::string path = std::string(folder) + "/" + zeva::kChecksumFile;
  off_t size;
  if (!may_be_read(path.c_str(), size) || size > kLargestList) return false;
  int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return true;
  zeva::ChecksumList list(fd);
  bool safe = listed_files_are_safe(list, folder);
  close(fd);
  return safe;
}
