// The comment lines that precede a key.
#pragma once

#include <string>

struct Nvcomment {
  std::string name;     // of the key
  std::string lines{};  // whole lines, each with its newline; an empty line is a lone newline
};
