#include "export_file.h"

#include "runlog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {

namespace {

// Enters the folder `name` of the folder `at`, and leaves `at`.
int enter(int at, std::string const& name) {
  int const inner = openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  close(at);
  return inner;
}

// Opening a device can set it going, so its kind is looked at before it is opened, and once more
// afterwards: O_NONBLOCK keeps a FIFO put there in between from holding up the run.
int open_regular(int at, std::string const& name) {
  struct stat found;
  if (fstatat(at, name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(found.st_mode)) {
    return -1;
  }
  int const file = openat(at, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file >= 0 && (fstat(file, &found) != 0 || !S_ISREG(found.st_mode))) {
    close(file);
    return -1;
  }
  return file;
}

}  // namespace

int open_export_file(std::string const& folder, std::string const& path) {
  if (path.compare(0, folder.size() + 1, folder + '/') != 0) return -1;

  int at = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  size_t from = folder.size() + 1;
  for (size_t slash; at >= 0 && (slash = path.find('/', from)) != std::string::npos;
       from = slash + 1) {
    std::string const name = path.substr(from, slash - from);
    if (name.empty() || name == ".") continue;
    if (name == "..") {
      close(at);
      return -1;
    }
    at = enter(at, name);
  }
  if (at < 0) return -1;
  int const file = open_regular(at, path.substr(from));
  close(at);
  return file;
}

bool read_export_file(NvConfigFile& file, std::string const& folder, std::string const& path,
                      int code, FileIdentity* identity) {
  file.setname(path);
  int const opened = open_export_file(folder, path);
  struct stat found = {};
  bool const done = opened >= 0 && fstat(opened, &found) == 0 && file.readfile(opened) == 0;
  if (opened >= 0) close(opened);
  if (!done) log_unreadable(code, path);
  if (identity) *identity = {found.st_dev, found.st_ino};
  return done;
}

void log_unreadable(int code, std::string const& path) {
  LogDebugMessage("Error [%d]: read %s failed.", code, path.c_str());
}

}  // namespace zeva
