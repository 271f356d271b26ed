// Linked into a second rc4, a second zeva-unpack and the rehearsal's tests, which tell the steps
// that keep a file whole through a power cut, and get the signal of STEP_SIGNAL, if there is one,
// in the midst of them.

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

// Visible, because the linker takes the calls of shared libraries for wrapped ones too.
#pragma GCC visibility push(default)
extern "C" int __real_fsync(int);
extern "C" int __wrap_fsync(int file) {
  struct stat info = {};
  fstat(file, &info);
  char const* const signal = getenv("STEP_SIGNAL");
  if (signal != nullptr) raise(atoi(signal));
  fputs(S_ISDIR(info.st_mode) ? "folder synced\n" : "file synced\n", stderr);
  return __real_fsync(file);
}

extern "C" int __real_rename(char const*, char const*);
extern "C" int __wrap_rename(char const* from, char const* to) {
  fputs("renamed\n", stderr);
  return __real_rename(from, to);
}

extern "C" int __real_syncfs(int);
extern "C" int __wrap_syncfs(int file) {
  fputs("all synced\n", stderr);
  return __real_syncfs(file);
}
#pragma GCC visibility pop
