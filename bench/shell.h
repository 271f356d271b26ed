// The commands of a run as one shell runs them: what a run, or opening a package, costs at least.
#pragma once

#include "package_key.h"
#include "scratch.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>

namespace zeva {

// Does the work, which must succeed, in a process of its own. What it says is left out.
inline void apart(std::function<bool()> const& work) {
  fflush(stdout);
  pid_t const child = fork();
  if (child < 0) fail("fork");
  if (child == 0) {
    if (freopen("/dev/null", "w", stdout) == nullptr) _exit(1);
    bool const done = work();
    fflush(stdout);
    _exit(done ? 0 : 1);
  }
  int status = 0;
  if (waitpid(child, &status, 0) == child && status == 0) return;
  fprintf(stderr, "failed\n");
  exit(1);
}

// A command that must succeed. What it says is left out.
inline void shell(std::string const& command) {
  if (system(("{ " + command + "; } > /dev/null 2>&1").c_str()) == 0) return;
  fprintf(stderr, "failed: %s\n", command.c_str());
  exit(1);
}

inline void write_key(std::string const& path) {
  std::ofstream(path).write(reinterpret_cast<char const*>(kPackageKey.data()), kPackageKey.size());
}

// Copies, decrypts, unpacks and checks a package, into a folder that is there and empty.
inline std::string opening(std::string const& package, std::string const& key,
                           std::string const& folder) {
  std::string const copy = folder + ".copy";
  return "cp -pf " + package + ' ' + copy + " && rc4 -dec -in " + copy + " -key " + key +
         " && cd " + folder + " && tar zxf " + copy + " && md5sum -c md5.sum";
}

// What a run does besides: it looks four times for the server, copies the store's three files, and
// removes what was unpacked one by one. The server's start and stop are not among it.
inline std::string rest_of_run(std::string const& config, std::string const& folder) {
  return "for i in 1 2 3 4; do ps -ef | grep regserver | grep -v grep; done; "
         "for file in " +
         config + "/cFlt_db.xml*; do cp -pf $file " + config +
         "/backup/ || exit 1; done; for entry in " + folder + "/*; do rm -rf $entry; done";
}

}  // namespace zeva
