// What tests of the tools do in a folder of their own, and look at there.
#pragma once

#include "command.h"
#include "scratch_folder.h"

class WorkFolder : public ScratchFolder {
 public:
  // Runs a line of shell in the folder.
  zeva::CommandResult sh(std::string const& line) const {
    return zeva::run_command({{"sh", "-c", line}, path(), {}});
  }

  std::set<std::string> names() const { return names_below(path()); }
};
