#include "trusted_open.h"

#include "descriptor.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/magic.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace zeva {

namespace {

// The walk along a path, one component after the other.
class Walk {
 public:
  Walk(int at, Links links) : at_(at), links_(links) {}

  // Takes the path as what is before the walk, in front of what was before it.
  [[nodiscard]] bool put_in_front(char const* path);

  // Goes to the next component; false, with ENOENT, at the end.
  [[nodiscard]] bool advance();
  [[nodiscard]] bool is_at_last() const { return rest_[strspn(rest_, "/")] == '\0'; }

  [[nodiscard]] int open_component(int flags, mode_t mode = 0) const {
    return openat(folder(), component_, flags | O_CLOEXEC, mode);
  }

  // Enters the component, or puts what it leads to in front when it is a link. One of /proc stands
  // for an open file: only the kernel can follow it, and is_kernels_link says so.
  [[nodiscard]] bool enter(bool& is_kernels_link);

 private:
  [[nodiscard]] int folder() const { return folder_ ? folder_.get() : at_; }
  [[nodiscard]] bool may_follow(struct stat const& link);
  [[nodiscard]] bool move_to(int folder);

  int const at_;
  Links const links_;
  Descriptor folder_;  // where the walk has come to; none is at_
  int followed_ = 0;
  char component_[NAME_MAX + 1] = {};
  char rest_[PATH_MAX] = {};
};

bool Walk::move_to(int folder) {
  folder_ = Descriptor(folder);
  return folder >= 0;
}

bool Walk::put_in_front(char const* path) {
  size_t const length = strlen(path);
  size_t const before = strlen(rest_);
  if (length + before >= sizeof rest_) {
    errno = ENAMETOOLONG;
    return false;
  }
  memmove(rest_ + length, rest_, before + 1);
  memcpy(rest_, path, length);
  return path[0] != '/' || move_to(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
}

bool Walk::advance() {
  char const* const begin = rest_ + strspn(rest_, "/");
  size_t const length = strcspn(begin, "/");
  if (length == 0 || length >= sizeof component_) {
    errno = length == 0 ? ENOENT : ENAMETOOLONG;
    return false;
  }
  memcpy(component_, begin, length);
  component_[length] = '\0';
  memmove(rest_, begin + length, strlen(begin + length) + 1);
  return true;
}

bool Walk::may_follow(struct stat const& link) {
  if (links_ == Links::kOwn && is_trusted_owner(link.st_uid) && ++followed_ <= kMaxLinks)
    return true;
  errno = ELOOP;
  return false;
}

bool Walk::enter(bool& is_kernels_link) {
  Descriptor here(open_component(O_PATH | O_NOFOLLOW));
  if (!here) return false;
  struct stat status = {};
  fstat(here.get(), &status);
  if (!S_ISLNK(status.st_mode)) return move_to(here.release());

  char target[PATH_MAX];
  struct statfs system;
  ssize_t const length = readlinkat(here.get(), "", target, sizeof target - 1);
  if (length <= 0 || fstatfs(here.get(), &system) != 0 || !may_follow(status)) return false;
  is_kernels_link = system.f_type == PROC_SUPER_MAGIC;
  if (is_kernels_link) return is_at_last() || move_to(open_component(O_PATH));
  target[length] = '\0';
  return put_in_front(target);
}

}  // namespace

bool is_trusted_owner(uid_t owner) {
  return owner == geteuid() || owner == 0;
}

bool is_closed_folder(char const* path, mode_t enough) {
  struct stat status;
  return lstat(path, &status) == 0 && is_trusted_owner(status.st_uid) &&
         ((status.st_mode & (S_IWGRP | S_IWOTH)) == 0 || (status.st_mode & enough) != 0);
}

int open_trusted(int at, char const* path, int flags, mode_t mode, Links links) {
  flags |= O_NONBLOCK | O_NOCTTY;
  Walk walk(at, links);
  if (!walk.put_in_front(path)) return -1;
  while (walk.advance()) {
    bool const last = walk.is_at_last();
    if (last) {
      int const file = walk.open_component(flags | O_NOFOLLOW, mode);
      if (file >= 0 || errno != ELOOP) return file;
    }
    bool is_kernels_link = false;
    if (!walk.enter(is_kernels_link)) return -1;
    if (last && is_kernels_link) return walk.open_component(flags, mode);
  }
  return -1;
}

}  // namespace zeva
