#include "run_lock.h"

#include "descriptor.h"
#include "fixed_text.h"
#include "product_home.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {
namespace {

constexpr char kLockFile[] = "migrate.lock";
constexpr int kAttempts = 100;

// How long the commands of an ended run may take to end, too: ten seconds.
constexpr int kRounds = 100;
constexpr useconds_t kRound = 100000;  // microseconds

struct RunLock {
  int folder = -1;
  int file = -1;
  volatile sig_atomic_t held = 0;
};

RunLock locks[2];  // of the machine, of the home

// One that nobody else can open: a file of our own, or of the folder's owner, who is trusted
// anyway. It will be removed, so it must be empty: one that holds anything is something else.
bool is_lock_file(int folder, struct stat const& file) {
  struct stat around;
  bool trusted =
      file.st_uid == geteuid() || (fstat(folder, &around) == 0 && file.st_uid == around.st_uid);
  return trusted && S_ISREG(file.st_mode) && (file.st_mode & 077) == 0 && file.st_size == 0;
}

// Anybody may put something under the lock's name in /tmp. It gets a name that nobody can foresee.
void move_aside(int folder) {
  unsigned number = 0;
  if (getrandom(&number, sizeof number, 0) < 0) return;
  FixedText<64> aside;
  aside.add(kLockFile).add(".").add(static_cast<int>(number >> 1));
  if (renameat(folder, kLockFile, folder, aside.c_str()) != 0) return;
  // Another run may have been quicker: then this is its lock.
  struct stat moved;
  if (fstatat(folder, aside.c_str(), &moved, AT_SYMLINK_NOFOLLOW) == 0 &&
      is_lock_file(folder, moved)) {
    renameat2(folder, aside.c_str(), folder, kLockFile, RENAME_NOREPLACE);
  }
}

// With O_CREAT only where nothing stands: the kernel refuses it on somebody else's file in /tmp.
int open_lock_file(int folder) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK;
  struct stat found;
  if (fstatat(folder, kLockFile, &found, AT_SYMLINK_NOFOLLOW) != 0) {
    int const made = openat(folder, kLockFile, kFlags | O_CREAT | O_EXCL, 0600);
    if (made < 0) errno = ENOENT;  // nobody's, whatever the reason
    return made;
  }
  if (is_lock_file(folder, found)) return openat(folder, kLockFile, kFlags);
  move_aside(folder);
  errno = EEXIST;
  return -1;
}

// A run that ends removes its file: whoever has waited for it holds a file that nobody else sees.
bool is_in_place(int folder, int fd) {
  struct stat opened, found;
  return fstat(fd, &opened) == 0 && fstatat(folder, kLockFile, &found, AT_SYMLINK_NOFOLLOW) == 0 &&
         opened.st_dev == found.st_dev && opened.st_ino == found.st_ino;
}

// Waits for what an ended run has left behind; false when it takes too long.
bool outlasts_commands(int fd) {
  for (int round = 0; flock(fd, LOCK_EX | LOCK_NB) != 0; ++round) {
    if (round == kRounds) return false;
    usleep(kRound);
  }
  return true;
}

// The locked file stays open until the process ends. The second lock goes with the open file, and
// so to the commands of the run.
bool take(RunLock& lock, char const* path, pid_t& holder) {
  holder = 0;
  lock.folder = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
  for (int attempt = 0; lock.folder >= 0 && attempt < kAttempts; ++attempt) {
    int fd = open_lock_file(lock.folder);
    if (fd < 0 && errno == EACCES) return false;  // of root, who runs or has been killed
    if (fd < 0) continue;
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    bool locked = fcntl(fd, F_SETLK, &whole) == 0;
    if (locked && is_in_place(lock.folder, fd)) {
      if (!outlasts_commands(fd)) return false;
      lock.file = fd;
      lock.held = 1;
      return true;
    }
    bool held = !locked && (errno == EACCES || errno == EAGAIN) &&
                fcntl(fd, F_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
    close(fd);
    if (held) {
      holder = whole.l_pid;
      return false;
    }
  }
  return true;
}

// Only the lock of the run itself is looked at: the commands' one cannot be without taking it.
pid_t holder_in(char const* folder) {
  Descriptor const place(open(folder, O_PATH | O_DIRECTORY | O_CLOEXEC));
  Descriptor const file(
      place ? openat(place.get(), kLockFile, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC) : -1);
  struct stat found;
  if (place && !file && errno == EACCES &&
      fstatat(place.get(), kLockFile, &found, AT_SYMLINK_NOFOLLOW) == 0 &&
      is_lock_file(place.get(), found)) {
    return kUnknownRun;
  }
  struct flock whole = {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  bool const held = file && fcntl(file.get(), F_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
  return held ? whole.l_pid : 0;
}

}  // namespace

pid_t active_run(char const* home) {
  FixedText<> config;
  config.add(home).add("/config");
  pid_t const holder = holder_in("/tmp");
  return holder != 0 || !config.fits() ? holder : holder_in(config.c_str());
}

bool take_run_lock(pid_t& holder) {
  FixedText<> config;
  config.add(product_home()).add("/config");
  return take(locks[0], "/tmp", holder) &&
         (!config.fits() || take(locks[1], config.c_str(), holder));
}

void share_run_lock(bool shared) {
  for (RunLock const& lock : locks) {
    if (lock.file >= 0) fcntl(lock.file, F_SETFD, shared ? 0 : FD_CLOEXEC);
  }
}

void remove_run_lock() {
  for (RunLock& lock : locks) {
    if (lock.held == 0) continue;
    lock.held = 0;
    unlinkat(lock.folder, kLockFile, 0);
  }
}

}  // namespace zeva
