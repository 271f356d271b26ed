#include "trimname.h"

#include <algorithm>

std::string_view zeva::trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

void trimname(std::string& text) {
  text = std::string(zeva::trimmed(text));
}
