// A machine of its own for a test of the installed commands: a home at the standard place, a /tmp,
// a process list and a network that nobody else sees. Scripts in it start in a work folder that
// holds "export", a copy of the example, and "key", the package key; what they have started
// is killed when they end, but may not be gone yet when the next one begins.
#pragma once

#include "scratch_folder.h"

#include <filesystem>
#include <set>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

class Sandbox {
 public:
  Sandbox();
  Sandbox(Sandbox const&) = delete;
  Sandbox& operator=(Sandbox const&) = delete;

  struct Outcome {
    int status;          // exit status, or 128 and the signal's number
    std::string output;  // standard output and error
  };
  // Runs a shell script. In it `migrate PACKAGE [LOG]` is the installed tool with its waits
  // shortened to a thirtieth, and `S99Reg` the installed service script. `more` are options of
  // bwrap.
  Outcome run(std::string const& script, std::string const& more = "");

  // The messages of the run log in a file of the work folder, without their headers; the start
  // time is shown as [...].
  Lines log(std::string const& name = "log");

  // The content of the result file, or "none".
  std::string result() const;

  // What zeva-regdump reads from the store's files.
  std::string store();

  // Everything below /tmp.
  std::set<std::string> tmp() const { return names_below(tmp_); }

  std::filesystem::path const& home() const { return home_; }
  std::filesystem::path const& work() const { return work_; }

 private:
  ScratchFolder const scratch_;
  std::filesystem::path const root_ = scratch_.path();
  std::filesystem::path const home_ = root_ / "home", work_ = root_ / "work", tmp_ = root_ / "tmp";
};
