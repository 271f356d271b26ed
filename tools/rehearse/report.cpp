#include "report.h"

#include "printable.h"
#include "registry_view.h"
#include "results.h"

#include <algorithm>
#include <ostream>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace zeva {
namespace {

// Lines under the files that they belong to, each file once, in the order of their first lines.
class ByFile {
 public:
  void add(std::string const& file, std::string const& line) {
    auto const [place, is_new] = places_.emplace(file, groups_.size());
    if (is_new) groups_.push_back({file, {}});
    groups_[place->second].second.push_back(line);
  }
  [[nodiscard]] auto const& groups() const { return groups_; }

 private:
  std::vector<std::pair<std::string, std::vector<std::string>>> groups_;
  std::unordered_map<std::string, size_t> places_;
};

class TextReport {
 public:
  TextReport(bool in_colour, std::ostream& out) : in_colour_(in_colour), out_(out) {}

  void heading(std::string const& text) {
    put("", "");
    put(kBold, text);
  }

  void grouped(ByFile const& all) {
    if (all.groups().empty()) put("", "  none");
    for (auto const& [file, lines] : all.groups()) {
      put("", "  " + (file.empty() ? "(no file)" : printable(file)));
      for (std::string const& line : lines) message(line);
    }
  }

  // The lines of a message after its first are set back further.
  void message(std::string_view text) {
    char const* indent = "    ";
    while (true) {
      std::string_view line = text.substr(0, text.find('\n'));
      text.remove_prefix(std::min(text.size(), line.size() + 1));
      if (line.starts_with('\t')) line.remove_prefix(1);
      put("", indent + printable(line));
      if (text.empty()) return;
      indent = "      ";
    }
  }

  void change(KeyChange const& key) {
    using Kind = KeyChange::Kind;
    char const* const sign = key.kind == Kind::kGained ? "+" : key.kind == Kind::kLost ? "-" : "~";
    put(colour_of(key.kind),
        std::string("  ") + sign + " " + (key.path.empty() ? "(the root)" : printable(key.path)));
    for (ValueChange const& value : key.values) {
      if (value.before) put(kRed, "  - " + printable(value_line(*value.before)));
      if (value.after) put(kGreen, "  + " + printable(value_line(*value.after)));
    }
  }

  void put(char const* colour, std::string const& line) {
    bool const coloured = in_colour_ && colour[0] != '\0';
    out_ << (coloured ? colour + line + kPlain : line) << '\n';
  }

  static constexpr char kBold[] = "\033[1m";
  static constexpr char kRed[] = "\033[31m";
  static constexpr char kGreen[] = "\033[32m";
  static constexpr char kYellow[] = "\033[33m";

 private:
  static constexpr char kPlain[] = "\033[0m";

  static char const* colour_of(KeyChange::Kind kind) {
    using Kind = KeyChange::Kind;
    return kind == Kind::kGained ? kGreen : kind == Kind::kLost ? kRed : kYellow;
  }

  bool const in_colour_;
  std::ostream& out_;
};

void visit_changes(Rehearsal const& rehearsal, ChangeVisitor const& visit) {
  if (rehearsal.before && rehearsal.after) {
    compare_stores(*rehearsal.before, *rehearsal.after, visit);
  }
}

std::string summary(Rehearsal const& rehearsal) {
  size_t keys[3] = {};
  visit_changes(rehearsal, [&](KeyChange const& change) {
    keys[static_cast<size_t>(change.kind)] += change.keys;
  });
  return counted(keys[0], "key", "keys") + " gained, " + std::to_string(keys[1]) + " lost, " +
         std::to_string(keys[2]) + " changed";
}

Json change_json(KeyChange const& key) {
  static char const* const kKinds[] = {"gained", "lost", "changed"};
  Json shown;
  shown["key"] = text_json(key.path);
  shown["change"] = kKinds[static_cast<int>(key.kind)];
  shown["keys"] = key.keys;
  shown["values"] = Json::array();
  for (ValueChange const& value : key.values) {
    Json sides;
    sides["before"] = value.before ? value_json(*value.before) : Json();
    sides["after"] = value.after ? value_json(*value.after) : Json();
    shown["values"].push_back(sides);
  }
  return shown;
}

}  // namespace

std::string describe_result(int code) {
  for (Result const& result : kResults) {
    if (result.code == code) return std::to_string(code) + ": " + result.meaning + ".";
  }
  return std::to_string(code) + ": a result that is not known here.";
}

void report_text(Rehearsal const& rehearsal, bool in_colour, std::ostream& out) {
  TextReport report(in_colour, out);
  report.heading("Result");
  bool const good = rehearsal.result == 0;
  report.put(good ? TextReport::kGreen : TextReport::kRed,
             "  " + (rehearsal.result ? describe_result(*rehearsal.result)
                                      : "the run did not come to its end."));
  if (!rehearsal.had_store) {
    report.put("", "  There was no store yet: the run began with the factory's.");
  }
  for (std::string const& note : rehearsal.notes) report.put("", "  " + printable(note));

  report.heading("Warnings and errors");
  ByFile troubles;
  for (LogLine const& line : rehearsal.log) {
    if (line.is_trouble) troubles.add(line.file, line.message);
  }
  report.grouped(troubles);

  report.heading("Changes in the store: " + summary(rehearsal));
  visit_changes(rehearsal, [&](KeyChange const& change) { report.change(change); });

  report.heading("Findings in the package");
  if (!rehearsal.not_examined.empty()) {
    report.put("", "  It could not be looked at: " + printable(rehearsal.not_examined));
    if (rehearsal.findings.empty()) return;
  }
  ByFile findings;
  for (Finding const& finding : rehearsal.findings) {
    std::string const place = place_of(finding);
    findings.add(finding.file, name_of(finding.severity) + ": " +
                                   (place.empty() ? "" : place + ": ") + finding.text + "; " +
                                   finding.advice);
  }
  report.grouped(findings);
}

// The changes can be far more than the rest, so they are written one by one.
void report_json(Rehearsal const& rehearsal, bool for_terminal, std::ostream& out) {
  Json report;
  report["result"] = rehearsal.result ? Json(*rehearsal.result) : Json();
  report["meaning"] = rehearsal.result ? Json(describe_result(*rehearsal.result)) : Json();
  report["factory_store"] = !rehearsal.had_store;
  report["notes"] = Json::array();
  for (std::string const& note : rehearsal.notes) report["notes"].push_back(text_json(note));
  if (!rehearsal.not_examined.empty()) {
    report["notes"].push_back(
        text_json("the package could not be looked at: " + rehearsal.not_examined));
  }
  report["log"] = Json::array();
  for (LogLine const& line : rehearsal.log) {
    report["log"].push_back({{"message", text_json(line.message)},
                             {"file", text_json(line.file)},
                             {"trouble", line.is_trouble}});
  }
  std::string const head = json_line(report, for_terminal);
  out << std::string_view(head).substr(0, head.size() - 1) << ",\"changes\":[";
  char const* separator = "";
  visit_changes(rehearsal, [&](KeyChange const& change) {
    out << std::exchange(separator, ",") << json_line(change_json(change), for_terminal);
  });
  Json findings = Json::array();
  for (Finding const& finding : rehearsal.findings) {
    findings.push_back({{"severity", name_of(finding.severity)},
                        {"kind", finding.kind},
                        {"file", text_json(finding.file)},
                        {"section", text_json(finding.section)},
                        {"key", text_json(finding.key)},
                        {"text", text_json(finding.text)},
                        {"advice", text_json(finding.advice)}});
  }
  out << "],\"findings\":" << json_line(findings, for_terminal) << "}\n";
}

}  // namespace zeva
