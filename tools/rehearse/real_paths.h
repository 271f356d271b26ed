// What is read elsewhere than where it stands, in a sandbox or as a copy, under the names that its
// owner knows.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {

class RealPaths {
 public:
  // A path that is read, and what it stands for.
  void add(std::string const& read, std::string const& real) {
    if (read != real) names_.emplace_back(read, real);
  }

  // The text with all of them.
  [[nodiscard]] std::string in(std::string_view text) const;

 private:
  std::vector<std::pair<std::string, std::string>> names_;
};

}  // namespace zeva
