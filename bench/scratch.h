// What every benchmark needs: a folder and processes that end with it, and a clock.
#pragma once

#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

namespace zeva {

[[noreturn]] inline void fail(char const* what) {
  perror(what);
  exit(1);
}

inline double seconds_of(std::function<void()> const& work) {
  auto const start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// This process and those that it starts from now on.
inline void use_cores(bool one) {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  for (int i = 0; i < (one ? 1 : CPU_SETSIZE); ++i) CPU_SET(i, &cores);
  if (sched_setaffinity(0, sizeof cores, &cores) != 0) fail("sched_setaffinity");
}

// A process of its own that is ended with this object.
class Child {
 public:
  explicit Child(std::function<void()> const& work) : pid_(fork()) {
    if (pid_ < 0) fail("fork");
    if (pid_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    work();
    _exit(0);
  }
  ~Child() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  Child(Child const&) = delete;
  Child& operator=(Child const&) = delete;

 private:
  pid_t const pid_;
};

class Folder {
 public:
  explicit Folder(std::string const& below = "/tmp") : path_(below + "/zeva-bench-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) fail("mkdtemp");
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;
  std::string operator/(std::string const& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace zeva
