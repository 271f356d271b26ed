// Linked into a second rc4, which tells the steps that keep a file whole through a power cut, and
// whose terminal hangs up in the midst of them.

#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>

extern "C" int __real_fsync(int);
extern "C" int __wrap_fsync(int file) {
  struct stat info = {};
  fstat(file, &info);
  raise(SIGHUP);
  fputs(S_ISDIR(info.st_mode) ? "folder synced\n" : "file synced\n", stderr);
  return __real_fsync(file);
}

extern "C" int __real_rename(char const*, char const*);
extern "C" int __wrap_rename(char const* from, char const* to) {
  fputs("renamed\n", stderr);
  return __real_rename(from, to);
}
