#include "export_file.h"

#include "runlog.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {

namespace {

Descriptor enter(Descriptor const& at, std::string const& name) {
  return Descriptor(
      openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Opening a device can set it going, so its kind is looked at before it is opened, and once more
// afterwards: O_NONBLOCK keeps a FIFO put there in between from holding up the run.
Descriptor open_regular(Descriptor const& at, std::string const& name) {
  struct stat found;
  if (fstatat(at.get(), name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0 ||
      !S_ISREG(found.st_mode)) {
    return Descriptor();
  }
  Descriptor file(openat(at.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (fstat(file.get(), &found) != 0 || !S_ISREG(found.st_mode)) return Descriptor();
  return file;
}

}  // namespace

Descriptor open_export_file(std::string const& folder, std::string const& name) {
  Descriptor at(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  size_t from = 0;
  for (size_t slash; at && (slash = name.find('/', from)) != std::string::npos; from = slash + 1) {
    std::string const part = name.substr(from, slash - from);
    if (part.empty() || part == ".") continue;
    if (part == "..") return Descriptor();
    at = enter(at, part);
  }
  return at ? open_regular(at, name.substr(from)) : Descriptor();
}

bool lacks_export_file(std::string const& folder, std::string const& name) {
  struct stat unused;
  return lstat((folder + "/" + name).c_str(), &unused) != 0 && errno == ENOENT;
}

std::optional<FileIdentity> identity_of(Descriptor const& file) {
  struct stat found;
  if (fstat(file.get(), &found) != 0) return std::nullopt;
  return FileIdentity{found.st_dev, found.st_ino};
}

bool read_export_file(NvConfigFile& file, std::string const& folder, std::string const& name,
                      int code, FileIdentity* identity) {
  file.setname(folder + "/" + name);
  Descriptor const opened = open_export_file(folder, name);
  auto const found = identity_of(opened);
  bool const done = found && file.readfile(opened.get()) == 0;
  if (!done) log_unreadable(code, folder, name);
  if (identity) *identity = found.value_or(FileIdentity());
  return done;
}

void log_unreadable(int code, std::string const& folder, std::string const& name) {
  LogDebugMessage("Error [%d]: read %s/%s failed.", code, folder.c_str(), name.c_str());
}

}  // namespace zeva
