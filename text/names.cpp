#include "names.h"

#include <stdlib.h>

int gen_iname(std::string& name, std::string const& names_in_use) {
  do {
    name = std::to_string(random());
  } while (names_in_use.find(name) != std::string::npos);
  return 0;
}

int getpatshowname(unsigned long pattern, std::string& name) {
  name = std::to_string(static_cast<unsigned>(pattern));
  size_t digits = name.size();
  for (size_t behind : {2u, 5u})
    if (digits >= behind) name.insert(digits - behind, ".");
  if (name.front() == '.') name.insert(0, "0");
  return 0;
}
