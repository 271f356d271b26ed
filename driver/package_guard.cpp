#include "package_guard.h"

#include "checksum_list.h"
#include "descriptor.h"
#include "package_limits.h"
#include "package_names.h"
#include "trusted_open.h"

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
#include <utility>

namespace zeva {
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

// Files of the kernel's own file systems pass for regular ones, but reading may wait for an event.
bool is_of_the_kernel(char const* path) {
  struct statfs where;
  if (statfs(path, &where) != 0) return false;
  for (auto magic : {PROC_SUPER_MAGIC, SYSFS_MAGIC, TRACEFS_MAGIC, DEBUGFS_MAGIC}) {
    if (static_cast<unsigned long>(where.f_type) == static_cast<unsigned long>(magic)) return true;
  }
  return false;
}

// The way to a listed file, one component after the other. Nobody but us and root may be able to
// put something else on it, a pipe for one, once it was looked at. The unpack folder is ours and
// closed; what a name leads to outside is judged by owners and modes.
class Way {
 public:
  explicit Way(std::string folder) : folder_(std::move(folder)) {}

  [[nodiscard]] bool is_settled(std::string rest) const {
    std::string here = rest.starts_with('/') ? "/" : folder_;
    for (int links = 0; links <= kMaxLinks;) {
      std::string const component = take_component(rest);
      if (component.empty()) return true;
      if (component == "..") here = parent(here);
      if (component == "." || component == "..") continue;
      if (!is_closed(here, S_ISVTX)) return false;

      std::string const path = here == "/" ? here + component : here + "/" + component;
      struct stat status;
      if (lstat(path.c_str(), &status) != 0) return is_closed(here, 0);
      if (!is_trusted_owner(status.st_uid)) return false;
      if (S_ISLNK(status.st_mode)) {
        ++links;
        rest = target_of(path) + "/" + rest;
        if (rest.starts_with('/')) here = "/";
      } else {
        here = path;
      }
    }
    return true;  // md5sum will not follow so many either
  }

 private:
  static std::string take_component(std::string& rest) {
    rest.erase(0, rest.find_first_not_of('/'));
    std::string component = rest.substr(0, rest.find('/'));
    rest.erase(0, component.size());
    return component;
  }

  static std::string parent(std::string const& path) {
    return path.substr(0, std::max<size_t>(path.rfind('/'), 1));
  }

  static std::string target_of(std::string const& link) {
    char target[PATH_MAX];
    ssize_t const length = readlink(link.c_str(), target, sizeof target);
    return std::string(target, length < 0 ? 0 : static_cast<size_t>(length));
  }

  [[nodiscard]] bool is_closed(std::string const& path, mode_t enough) const {
    return path == folder_ || is_closed_folder(path.c_str(), enough);
  }

  std::string const folder_;
};

// What cannot be opened may be read: md5sum will say so. False when reading can go on for ever.
// Otherwise `size` is how much there is to read.
bool may_be_read(char const* path, off_t& size) {
  size = 0;
  struct stat status;
  if (stat(path, &status) != 0) return true;
  if (S_ISREG(status.st_mode)) {
    size = status.st_size;
    return !is_of_the_kernel(path);
  }
  return !S_ISFIFO(status.st_mode) && !S_ISCHR(status.st_mode) && !S_ISBLK(status.st_mode);
}

bool listed_files_are_safe(ChecksumList& list, std::string const& folder) {
  Way const way(folder);
  off_t total = 0, size;
  for (std::string name; list.next(name);) {
    std::string path = name.starts_with('/') ? name : folder + "/" + name;
    bool is_input = name == "-";
    if (is_input || !way.is_settled(name) || !may_be_read(path.c_str(), size) ||
        size > kLargestExport - total)
      return false;
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
  std::string path = std::string(folder) + "/" + kChecksumFile;
  off_t size;
  bool const settled = Way(folder).is_settled(kChecksumFile);
  if (!settled || !may_be_read(path.c_str(), size) || size > kLargestList) return false;
  Descriptor const file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return true;
  ChecksumList list(file.get());
  return listed_files_are_safe(list, folder);
}

}  // namespace zeva
