// Lines for standard output, which the run shares with its log's echo.
#pragma once

#include <stdio.h>

#include <string>

namespace zeva {

// Writes a line at once: the process may end without flushing its streams.
inline void print_line(std::string const& line) {
  puts(line.c_str());
  fflush(stdout);
}

}  // namespace zeva
