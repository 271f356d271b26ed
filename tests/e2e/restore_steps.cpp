// Linked into a second zeva-restore, which is ended or fails at the call of RESTORE_STEP, counted
// over those that change files or wait for the disk, or lacks memory there, tells these calls, or
// finds the backup's log grown behind its own back after the read of RESTORE_GROWS. With
// RESTORE_STARTS it lacks memory when it first starts the server.

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <new>

namespace {

int number(char const* variable) {
  char const* const value = getenv(variable);
  return value != nullptr ? atoi(value) : 0;
}

// A letter for each call: w a write, f and d a file and a folder synced, r a rename.
bool fails(char call) {
  static int steps = 0;
  if (getenv("RESTORE_TELLS") != nullptr) fputc(call, stderr);
  if (++steps != number("RESTORE_STEP")) return false;
  if (getenv("RESTORE_FAILS") == nullptr) raise(SIGKILL);
  if (number("RESTORE_FAILS") == 2) throw std::bad_alloc();
  errno = EIO;
  return true;
}

}  // namespace

// Visible, because the linker takes the calls of shared libraries for wrapped ones too.
#pragma GCC visibility push(default)
extern "C" {
int __real_fsync(int);
int __wrap_fsync(int file) {
  struct stat info = {};
  fstat(file, &info);
  return fails(S_ISDIR(info.st_mode) ? 'd' : 'f') ? -1 : __real_fsync(file);
}

int __real_rename(char const*, char const*);
int __wrap_rename(char const* from, char const* to) {
  return fails('r') ? -1 : __real_rename(from, to);
}

// Not every file system can rename without replacing.
int __wrap_renameat2(int, char const*, int, char const*, unsigned) {
  errno = EINVAL;
  return -1;
}

ssize_t __real_write(int, void const*, size_t);
ssize_t __wrap_write(int file, void const* bytes, size_t size) {
  return fails('w') ? -1 : __real_write(file, bytes, size);
}

int __real_posix_spawnp(pid_t*, char const*, posix_spawn_file_actions_t const*,
                        posix_spawnattr_t const*, char* const[], char* const[]);
int __wrap_posix_spawnp(pid_t* child, char const* file, posix_spawn_file_actions_t const* actions,
                        posix_spawnattr_t const* attributes, char* const line[],
                        char* const environment[]) {
  static int starts = 0;
  bool const is_start = line[3] != nullptr && line[4] != nullptr && strcmp(line[4], "start") == 0;
  if (is_start && ++starts == number("RESTORE_STARTS")) {
    posix_spawn_file_actions_destroy(const_cast<posix_spawn_file_actions_t*>(actions));
    throw std::bad_alloc();
  }
  return __real_posix_spawnp(child, file, actions, attributes, line, environment);
}

ssize_t __real_pread64(int, void*, size_t, off64_t);
ssize_t __wrap_pread64(int file, void* bytes, size_t size, off64_t place) {
  static int reads = 0;
  ssize_t const got = __real_pread64(file, bytes, size, place);
  if (++reads == number("RESTORE_GROWS")) {
    if (system("echo more >> $ZEVA_HOME/config/backup/cFlt_db.xml.redo") != 0) abort();
  }
  return got;
}
}
