// The comment lines that precede a key.
#pragma once

#include "initext.h"

struct Nvcomment {
  zeva::IniText name;     // of the key
  zeva::IniText lines{};  // whole lines, each with its newline; an empty line is a lone newline
};
