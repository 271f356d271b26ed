// Something about a settings package that its owner should know before the migration.
#pragma once

#include <string>

namespace zeva {

struct Finding {
  std::string kind;   // one word for programs, from the list in zeva-rehearse(1)
  std::string file;   // in the package
  std::string place;  // "section.key" or a section; empty for the file as a whole
  std::string text;   // for a person
};

}  // namespace zeva
