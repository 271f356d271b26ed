// What stands elsewhere in the sandbox than on the machine, under the names that its owner knows.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {

class RealPaths {
 public:
  // A path of the sandbox, and what it stands for.
  void add(std::string const& sandboxed, std::string const& real) {
    if (sandboxed != real) names_.emplace_back(sandboxed, real);
  }

  // The text with all of them.
  [[nodiscard]] std::string in(std::string_view text) const;

 private:
  std::vector<std::pair<std::string, std::string>> names_;
};

}  // namespace zeva
