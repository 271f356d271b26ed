// The grammar of the INI files that settings are exported in; docs/export-files.md describes it for
// those who write such files.
#pragma once

#include "nvconfigfile.h"

#include <map>
#include <set>
#include <string>

namespace zeva {

// What of a file does not count, because something of the same name follows.
struct Overwritten {
  std::set<std::string> sections;                     // that held something else
  std::map<std::string, std::set<std::string>> keys;  // of a section, that had another value
};

// Stores every section of `text` in `file`, in place of those that it holds, in order, a later
// section over an earlier one of its name. The file keeps the text, of which its sections are
// views. Any text is a valid INI file. Takes time in proportion to the text's length, whatever it
// holds. Unless it is null, `overwritten` gets what has been lost that way, which takes a little
// more.
void read_ini(std::string text, NvConfigFile& file, Overwritten* overwritten = nullptr);

}  // namespace zeva
