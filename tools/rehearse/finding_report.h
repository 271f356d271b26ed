// Findings as they are told.
#pragma once

#include "finding.h"
#include "registry_view.h"

#include <iosfwd>
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
  [[nodiscard]] auto const& groups() const { return groups_; }

 private:
  std::vector<std::pair<std::string, std::vector<std::string>>> groups_;
  std::unordered_map<std::string, size_t> places_;
};

// "1 error, 2 losses, 3 notes", without what there is none of.
[[nodiscard]] std::string count_findings(std::vector<Finding> const& findings);

// The first findings, up to a number, as "severity: section.key: text; advice": for each severity,
// the worst first, those of one file together. May hold control bytes and newlines.
[[nodiscard]] std::vector<ByFile> by_severity(std::vector<Finding> const& findings, size_t limit);

[[nodiscard]] Json findings_json(std::vector<Finding> const& findings);

// Findings alone, for a person; or one JSON object on one line, for a terminal in ASCII.
void print_findings(std::vector<Finding> const& findings, std::ostream& out);
void print_findings_json(std::vector<Finding> const& findings, bool for_terminal,
                         std::ostream& out);

}  // namespace zeva
