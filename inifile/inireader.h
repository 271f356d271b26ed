// The grammar of the INI files that settings are exported in; docs/export-files.md describes it for
// those who write such files.
#pragma once

#include "nvconfigfile.h"

#include <string_view>

namespace zeva {

// Stores every section of `text` in `file`, in order, a later section over an earlier one of its
// name. Any text is a valid INI file. Takes time in proportion to the text's length, whatever it
// holds.
void read_ini(std::string_view text, NvConfigFile& file);

}  // namespace zeva
