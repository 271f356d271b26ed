// Findings, and the lines of a log, as they are told: file by file, in visible characters.
#pragma once

#include "finding.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zeva {

// Lines under the files that they belong to, each file once, in the order of their first lines.
class ByFile {
 public:
  void add(std::string const& file, std::string const& line);
  [[nodiscard]] bool is_empty() const { return groups_.empty(); }

  // Each file above its lines.
  [[nodiscard]] std::vector<std::string> lines() const;

 private:
  std::vector<std::pair<std::string, std::vector<std::string>>> groups_;
  std::unordered_map<std::string, size_t> places_;
};

// The lines of a message, without the tab that sets a further one back.
[[nodiscard]] std::vector<std::string> lines_of(std::string_view message);

// The same as they stand below a heading: those after the first are set back further.
[[nodiscard]] std::vector<std::string> indented_lines(std::string_view message);

// "1 error, 2 losses, 3 notes", without what there is none of.
[[nodiscard]] std::string count_findings(std::vector<Finding> const& findings);

// The first findings, up to a number, as "severity: section.key: text; advice": for each severity,
// the worst first, those of one file together.
[[nodiscard]] std::vector<ByFile> by_severity(std::vector<Finding> const& findings, size_t limit);

}  // namespace zeva
