#include "real_paths.h"

namespace zeva {

std::string RealPaths::in(std::string_view text) const {
  std::string shown;
  while (!text.empty()) {
    size_t at = text.npos;
    std::pair<std::string, std::string> const* first = nullptr;
    for (auto const& name : names_) {
      size_t const found = text.find(name.first);
      if (found < at) at = found, first = &name;
    }
    shown += text.substr(0, at);
    if (first == nullptr) break;
    shown += first->second;
    text.remove_prefix(at + first->first.size());
  }
  return shown;
}

}  // namespace zeva
