#include "finding_report.h"

#include "printable.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zeva {

void ByFile::add(std::string const& file, std::string const& line) {
  auto const [place, is_new] = places_.emplace(file, groups_.size());
  if (is_new) groups_.push_back({file, {}});
  groups_[place->second].second.push_back(line);
}

std::vector<std::string> ByFile::lines() const {
  std::vector<std::string> lines;
  for (auto const& [file, messages] : groups_) {
    lines.push_back("  " + (file.empty() ? "(no file)" : printable(file)));
    for (std::string const& message : messages) {
      for (std::string& line : indented_lines(message)) lines.push_back(std::move(line));
    }
  }
  return lines;
}

std::vector<std::string> lines_of(std::string_view message) {
  std::vector<std::string> lines;
  do {
    std::string_view line = message.substr(0, message.find('\n'));
    message.remove_prefix(std::min(message.size(), line.size() + 1));
    if (line.starts_with('\t')) line.remove_prefix(1);
    lines.push_back(printable(line));
  } while (!message.empty());
  return lines;
}

std::vector<std::string> indented_lines(std::string_view message) {
  std::vector<std::string> lines = lines_of(message);
  char const* indent = "    ";
  for (std::string& line : lines) {
    line.insert(0, indent);
    indent = "      ";
  }
  return lines;
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
  for (size_t i = 0; i < std::size(kSeverityNames); ++i) {
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

}  // namespace zeva
