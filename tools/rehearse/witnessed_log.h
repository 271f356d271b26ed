// The run log of a rehearsed migration, each line with the export file that was read last when it
// was written, in the same step of the run.
#pragma once

#include <string>
#include <vector>

namespace zeva {

struct LogLine {
  std::string message;  // may hold newlines
  std::string file;     // in the package; empty for none and when it is unknown
  bool is_trouble;      // an error or a warning
  // An error about the store alone: of what the run was to remove and could not find, say.
  bool is_of_store = false;
};

// `log_path` is the run log, `notes` what the witness noted about the run, `folder` where the run
// unpacked the package.
[[nodiscard]] std::vector<LogLine> read_witnessed_log(std::string const& log_path,
                                                      std::string const& notes,
                                                      std::string const& folder);

}  // namespace zeva
