#include "text_report.h"

#include "change_text.h"
#include "finding_report.h"
#include "printable.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace zeva {
namespace {

using Detail = TextStyle::Detail;

// How many lost items of an area and how many findings a summary names.
constexpr size_t kNamed = 3;

// "2 gained, 1 lost", without what there is none of.
std::string words_of(ChangeCounts const& counts) {
  std::string words;
  for (auto const& [count, word] :
       {std::pair(counts.gained, " gained"), std::pair(counts.lost, " lost"),
        std::pair(counts.changed, " changed")}) {
    if (count == 0) continue;
    words += (words.empty() ? "" : ", ") + std::to_string(count) + word;
  }
  return words.empty() ? "no change" : words;
}

class TextReport {
 public:
  TextReport(Rehearsal const& rehearsal, Scope const& scope, TextStyle const& style,
             std::ostream& out)
      : rehearsal_(rehearsal),
        outline_(outline_of(rehearsal)),
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
    put(outline_.is_good ? kGreen : kRed, "Verdict: " + outline_.verdict);
    if (rehearsal_.result) put(kNoColour, "  " + describe_result(*rehearsal_.result));
    if (!rehearsal_.had_store) {
      put(kNoColour, "  There was no store yet: the run began with the factory's.");
    }
    for (std::string const& note : rehearsal_.notes) put(kNoColour, "  " + printable(note));
    if (!rehearsal_.not_examined.empty()) {
      put(kNoColour, "  The package could not be looked at: " + printable(rehearsal_.not_examined));
    }
  }

  void write_areas() {
    heading("Areas");
    if (!rehearsal_.before || !rehearsal_.after) put(kNoColour, "  the stores cannot be compared");
    for (size_t i = 0; rehearsal_.before && rehearsal_.after && i < outline_.areas.size(); ++i) {
      AreaOutline const& area = outline_.areas[i];
      put(kNoColour, std::string("  ") + kAreas[i].title + ": " + words_of(area.items));
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
    for (ByFile const& lines : by_severity(findings, limit)) grouped(lines);
    if (limit < findings.size()) {
      put(kNoColour, "  and " + std::to_string(findings.size() - limit) + " more");
    }
  }

  void write_troubles() {
    ByFile troubles;
    for (LogLine const& line : rehearsal_.log) {
      if (line.is_trouble) troubles.add(line.file, line.message);
    }
    heading(std::string("Warnings and errors of the run") +
            (troubles.groups().empty() ? ": none" : ""));
    grouped(troubles);
  }

  void write_changes() {
    heading("Changes in the store: " + counted(outline_.keys.gained, "key", "keys") + " gained, " +
            std::to_string(outline_.keys.lost) + " lost, " + std::to_string(outline_.keys.changed) +
            " changed");
    std::array<size_t, std::size(kAreas)> shown{};
    size_t hidden = 0;
    visit_changes(rehearsal_, [&](KeyChange const& change) {
      bool const seen = is_in(scope_, change);
      (seen ? shown[static_cast<size_t>(item_at(change.path).area)] : hidden) += change.keys;
    });
    for (size_t i = 0; i < shown.size(); ++i) {
      if (shown[i] == 0) continue;
      put(kBold, std::string("  ") + kAreas[i].title + ": " + counted(shown[i], "key", "keys"));
      visit_changes(rehearsal_, [&](KeyChange const& change) {
        if (item_at(change.path).area == static_cast<Area>(i) && is_in(scope_, change)) {
          style_.detail == Detail::kNames ? text_.write_key(change) : text_.write(change);
        }
      });
    }
    if (hidden > 0) {
      put(kNoColour, "  " + counted(hidden, "changed key is", "changed keys are") + " not shown.");
    }
  }

  void write_log() {
    heading("The run's log");
    for (LogLine const& line : rehearsal_.log) message(line.message);
  }

  void heading(std::string const& text) {
    put(kNoColour, "");
    put(kBold, text);
  }

  void grouped(ByFile const& all) {
    for (auto const& [file, lines] : all.groups()) {
      put(kNoColour, "  " + (file.empty() ? "(no file)" : printable(file)));
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
      put(kNoColour, indent + printable(line));
      if (text.empty()) return;
      indent = "      ";
    }
  }

  void put(char const* colour, std::string const& line) { text_.put(colour, line); }

  Rehearsal const& rehearsal_;
  Outline const outline_;
  Scope const& scope_;
  TextStyle const& style_;
  ChangeText text_;
};

}  // namespace

void report_text(Rehearsal const& rehearsal, Scope const& scope, TextStyle const& style,
                 std::ostream& out) {
  TextReport(rehearsal, scope, style, out).write();
}

}  // namespace zeva
