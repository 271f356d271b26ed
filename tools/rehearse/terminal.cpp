#include "terminal.h"

#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string_view>

namespace zeva {
namespace {

std::string_view variable(char const* name) {
  char const* const value = getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

bool takes_commands(int file) {
  return isatty(file) == 1 && variable("TERM") != "dumb";
}

bool takes_colours(int file) {
  return takes_commands(file) && variable("NO_COLOR").empty();
}

size_t columns_of(int file) {
  winsize size;
  return ioctl(file, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace zeva
