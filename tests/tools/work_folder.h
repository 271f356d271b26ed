// What tests of the tools do in a folder of their own, and look at there.
#pragma once

#include "command.h"
#include "scratch_folder.h"

#include <set>

class WorkFolder : public ScratchFolder {
 public:
  // Runs a line of shell in the folder.
  zeva::CommandResult sh(std::string const& line) const {
    return zeva::run_command({{"sh", "-c", line}, path(), {}});
  }

  // The names of everything below, to see that nothing was left behind.
  std::set<std::string> names() const {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(path())) {
      names.insert(entry.path().lexically_relative(path()));
    }
    return names;
  }
};
