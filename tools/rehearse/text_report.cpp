#include "text_report.h"

#include "change_text.h"
#include "finding_report.h"
#include "printable.h"

#include <algorithm>
#include <ostream>
#include <utility>

namespace zeva {
namespace {

using Detail = TextStyle::Detail;

// How many lost items of an area and how many findings a summary names.
constexpr size_t kNamed = 3;

class TextReport {
 public:
  TextReport(Rehearsal const& rehearsal, Outline const& outline, Scope const& scope,
             TextStyle const& style, std::ostream& out)
      : rehearsal_(rehearsal),
        outline_(outline),
        scope_(scope),
        style_(style),
        text_(out, style.in_colour) {}

  void write() {
    write_verdict();
    write_areas();
    write_findings("Findings: ", rehearsal_.findings);
    if (!rehearsal_.target.empty()) write_findings("This machine: ", rehearsal_.target);
    if (style_.detail == Detail::kSummary) return;
    write_troubles();
    write_changes();
    write_log();
  }

 private:
  void write_verdict() {
    static constexpr char const* kColours[] = {kGreen, kYellow, kRed};  // in the order of Grade
    put(kColours[static_cast<size_t>(outline_.grade)], "Verdict: " + outline_.verdict);
    for (std::string const& remark : outline_.remarks) put(kNoColour, "  " + remark);
  }

  void write_areas() {
    heading("Areas");
    if (!outline_.can_compare) put(kNoColour, "  the stores cannot be compared");
    for (size_t i = 0; outline_.can_compare && i < outline_.areas.size(); ++i) {
      AreaOutline const& area = outline_.areas[i];
      put(kNoColour, std::string("  ") + kAreas[i].title + ": " + in_words(area.items));
      size_t const named = style_.detail == Detail::kSummary
                               ? std::min(kNamed, area.lost_items.size())
                               : area.lost_items.size();
      for (size_t n = 0; n < named; ++n) {
        put(kRed, "    lost: " + printable(area.lost_items[n]));
      }
      if (named < area.lost_items.size()) {
        put(kRed, "    and " + std::to_string(area.lost_items.size() - named) + " more");
      }
    }
  }

  // The worst first, and those of one file together.
  void write_findings(char const* title, std::vector<Finding> const& findings) {
    heading(title + count_findings(findings));
    size_t const limit = style_.detail == Detail::kSummary ? kNamed : findings.size();
    for (ByFile const& lines : by_severity(findings, limit)) put_all(lines.lines());
    if (limit < findings.size()) {
      put(kNoColour, "  and " + std::to_string(findings.size() - limit) + " more");
    }
  }

  void write_troubles() {
    ByFile troubles;
    for (LogLine const& line : rehearsal_.log) {
      if (line.is_trouble) troubles.add(line.file, line.message);
    }
    heading(std::string("Warnings and errors of the run") + (troubles.is_empty() ? ": none" : ""));
    put_all(troubles.lines());
  }

  void write_changes() {
    if (!outline_.can_compare) return;
    heading("Changes in the store: " + count_keys(outline_));
    size_t const hidden = visit_by_area(
        rehearsal_, scope_,
        [&](Area area, size_t keys) {
          put(kBold, std::string("  ") + name_of(area).title + ": " + counted(keys, "key", "keys"));
        },
        [&](KeyChange const& change) {
          style_.detail == Detail::kNames ? text_.write_key(change) : text_.write(change);
        });
    if (hidden > 0) {
      put(kNoColour, "  " + counted(hidden, "changed key is", "changed keys are") + " not shown.");
    }
  }

  void write_log() {
    heading("The run's log");
    for (LogLine const& line : rehearsal_.log) put_all(indented_lines(line.message));
  }

  void heading(std::string const& text) {
    put(kNoColour, "");
    put(kBold, text);
  }

  void put_all(std::vector<std::string> const& lines) {
    for (std::string const& line : lines) put(kNoColour, line);
  }

  void put(char const* colour, std::string const& line) { text_.put(colour, line); }

  Rehearsal const& rehearsal_;
  Outline const& outline_;
  Scope const& scope_;
  TextStyle const& style_;
  ChangeText text_;
};

}  // namespace

void report_text(Rehearsal const& rehearsal, Outline const& outline, Scope const& scope,
                 TextStyle const& style, std::ostream& out) {
  TextReport(rehearsal, outline, scope, style, out).write();
}

void report_findings_text(std::vector<Finding> const& findings, std::ostream& out) {
  out << "Findings: " << count_findings(findings) << '\n';
  for (ByFile const& group : by_severity(findings, findings.size())) {
    for (std::string const& line : group.lines()) out << line << '\n';
  }
}

}  // namespace zeva
