#include "export_keys.h"

#include <algorithm>

namespace zeva {

namespace {

constexpr std::string_view kNumber = "%d";

}  // namespace

std::string_view stem_of(std::string_view name) {
  return name.substr(0, name.find(kNumber));
}

std::string numbered(std::string_view name, int number) {
  std::string_view const stem = stem_of(name);
  name.remove_prefix(std::min(name.size(), stem.size() + kNumber.size()));
  return std::string(stem).append(std::to_string(number)).append(name);
}

}  // namespace zeva
