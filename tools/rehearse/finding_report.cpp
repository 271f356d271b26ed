#include "finding_report.h"

#include "printable.h"

#include <algorithm>
#include <iterator>
#include <ostream>

namespace zeva {

void ByFile::add(std::string const& file, std::string const& line) {
  auto const [place, is_new] = places_.emplace(file, groups_.size());
  if (is_new) groups_.push_back({file, {}});
  groups_[place->second].second.push_back(line);
}

std::string count_findings(std::vector<Finding> const& findings) {
  static constexpr char const* kMany[] = {"errors", "losses", "notes"};
  std::string words;
  for (size_t i = 0; i < std::size(kSeverityNames); ++i) {
    auto const count = static_cast<size_t>(
        std::ranges::count(findings, static_cast<Severity>(i), &Finding::severity));
    if (count == 0) continue;
    words += (words.empty() ? "" : ", ") + counted(count, kSeverityNames[i], kMany[i]);
  }
  return words.empty() ? "none" : words;
}

std::vector<ByFile> by_severity(std::vector<Finding> const& findings, size_t limit) {
  std::vector<ByFile> all(std::size(kSeverityNames));
  for (size_t i = 0; i < all.size(); ++i) {
    for (Finding const& finding : findings) {
      if (static_cast<size_t>(finding.severity) != i || limit == 0) continue;
      --limit;
      std::string const place = place_of(finding);
      all[i].add(finding.file, name_of(finding.severity) + ": " +
                                   (place.empty() ? "" : place + ": ") + finding.text + "; " +
                                   finding.advice);
    }
  }
  return all;
}

Json findings_json(std::vector<Finding> const& findings) {
  Json all = Json::array();
  for (Finding const& finding : findings) {
    all.push_back({{"severity", name_of(finding.severity)},
                   {"kind", finding.kind},
                   {"file", text_json(finding.file)},
                   {"section", text_json(finding.section)},
                   {"key", text_json(finding.key)},
                   {"text", text_json(finding.text)},
                   {"advice", text_json(finding.advice)}});
  }
  return all;
}

void print_findings(std::vector<Finding> const& findings, std::ostream& out) {
  out << "Findings: " << count_findings(findings) << '\n';
  for (ByFile const& lines : by_severity(findings, findings.size())) {
    for (auto const& [file, group] : lines.groups()) {
      out << "  " << (file.empty() ? "(no file)" : printable(file)) << '\n';
      for (std::string const& line : group) out << "    " << printable(line) << '\n';
    }
  }
}

void print_findings_json(std::vector<Finding> const& findings, bool for_terminal,
                         std::ostream& out) {
  Json report;
  report["format_version"] = 1;
  report["findings"] = findings_json(findings);
  out << json_line(report, for_terminal) << '\n';
}

}  // namespace zeva
