#include "outline.h"

#include "printable.h"
#include "results.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace zeva {
namespace {

using ChangeKind = KeyChange::Kind;

void count_items(Rehearsal const& rehearsal, Outline& outline) {
  // By their keys: all paths together grow with the square of the depth.
  std::unordered_set<Key const*> counted;
  visit_changes(rehearsal, [&](KeyChange const& change) {
    outline.keys.add(change.kind, change.keys);
    AreaItem const item = item_at(change.path);
    if (!item.is_one) return;
    Key const* const before = find_key(*rehearsal.before, item.path);
    Key const* const after = find_key(*rehearsal.after, item.path);
    if (!counted.insert(after != nullptr ? after : before).second) return;
    AreaOutline& area = outline.areas[static_cast<size_t>(item.area)];
    area.items.add(before == nullptr  ? ChangeKind::kGained
                   : after == nullptr ? ChangeKind::kLost
                                      : ChangeKind::kChanged,
                   1);
    if (after == nullptr) area.lost_items.push_back(shown_name(item));
  });
}

bool is_warning(LogLine const& line) {
  return line.is_trouble && line.message.starts_with("Warning");
}

// Findings that do not say of what they are about that it is lost as a whole.
constexpr std::string_view kRemarks[] = {"byte-order-mark", "carriage-returns", "nul-byte",
                                         "no-utf-8", "same-name"};

// What is told of a file or a section as a whole covers what is told in it, and a name that nothing
// bears is one item, however often it is called for.
size_t count_left_out(Rehearsal const& rehearsal) {
  using Place = std::array<std::string, 3>;
  std::set<Place> places, wholes;
  std::set<std::string> unanswered, told;
  for (Finding const& finding : rehearsal.findings) {
    if (finding.severity != Severity::kLoss) continue;
    told.insert(finding.file);
    if (finding.kind == Kind("dangling-reference")->name) {
      unanswered.insert(finding.text);
    } else {
      Place const place = {finding.file, finding.section, finding.key};
      places.insert(place);
      if (std::ranges::find(kRemarks, finding.kind) == std::end(kRemarks)) wholes.insert(place);
    }
  }
  size_t count = unanswered.size();
  for (auto const& [file, section, key] : places) {
    bool const in_file = !section.empty() && wholes.contains({file, "", ""});
    bool const in_section = !key.empty() && wholes.contains({file, section, ""});
    if (!in_file && !in_section) ++count;
  }
  for (LogLine const& line : rehearsal.log) {
    bool const is_error = line.is_trouble && !line.is_of_store && !is_warning(line);
    if (is_error && told.insert(line.file).second) ++count;
  }
  return count;
}

template <class Predicate>
size_t count_lines(Rehearsal const& rehearsal, Predicate wanted) {
  return static_cast<size_t>(std::ranges::count_if(rehearsal.log, wanted));
}

size_t count_errors(std::vector<Finding> const& findings) {
  return static_cast<size_t>(std::ranges::count(findings, Severity::kError, &Finding::severity));
}

std::string verdict_of(Rehearsal const& rehearsal, Outline const& outline) {
  if (!rehearsal.result) return "the run did not come to its end";
  bool const same = outline.can_compare && outline.keys.all() == 0;
  if (*rehearsal.result == kImported) {
    std::string verdict = same ? "imported, nothing would change" : "imported";
    if (outline.left_out > 0) {
      verdict += ", " + counted(outline.left_out, "item", "items") + " left out or altered";
    }
    if (outline.warnings > 0)
      verdict += ", with " + counted(outline.warnings, "warning", "warnings");
    if (outline.store_errors > 0)
      verdict += ", with " + counted(outline.store_errors, "error", "errors") + " about the store";
    return verdict;
  }
  if (!outline.can_compare) return "not imported";
  return same ? "not imported, the store is as it was"
              : "not imported, but the store is not as it was";
}

std::vector<std::string> remarks_of(Rehearsal const& rehearsal) {
  std::vector<std::string> remarks;
  if (rehearsal.result) remarks.push_back(describe_result(*rehearsal.result));
  if (auto const errors = count_errors(rehearsal.target)) {
    remarks.push_back("On this machine, " + counted(errors, "error stands", "errors stand") +
                      " in the migration's way.");
  }
  if (!rehearsal.had_store) {
    remarks.emplace_back("There was no store yet: the run began with the factory's.");
  }
  for (std::string const& note : rehearsal.notes) remarks.push_back(printable(note));
  if (!rehearsal.not_examined.empty()) {
    remarks.push_back("The package could not be looked at: " + printable(rehearsal.not_examined));
  }
  return remarks;
}

Grade grade_of(Rehearsal const& rehearsal, Outline const& outline) {
  if (rehearsal.result != kImported) return Grade::kBad;
  bool const is_whole = rehearsal.not_examined.empty() && outline.left_out == 0 &&
                        outline.warnings == 0 && outline.store_errors == 0 &&
                        count_errors(rehearsal.target) == 0;
  return is_whole ? Grade::kGood : Grade::kMixed;
}

void append(std::string& words, std::string const& more) {
  words += (words.empty() ? "" : ", ") + more;
}

}  // namespace

void ChangeCounts::add(ChangeKind kind, size_t count) {
  (kind == ChangeKind::kGained ? gained : kind == ChangeKind::kLost ? lost : changed) += count;
}

Outline outline_of(Rehearsal const& rehearsal) {
  Outline outline;
  outline.can_compare = rehearsal.before && rehearsal.after;
  count_items(rehearsal, outline);
  outline.left_out = count_left_out(rehearsal);
  outline.warnings = count_lines(rehearsal, is_warning);
  outline.store_errors = count_lines(rehearsal, &LogLine::is_of_store);
  outline.verdict = verdict_of(rehearsal, outline);
  outline.remarks = remarks_of(rehearsal);
  outline.grade = grade_of(rehearsal, outline);
  return outline;
}

std::string in_words(ChangeCounts const& counts) {
  std::string words;
  for (auto const& [count, kind] :
       {std::pair(counts.gained, ChangeKind::kGained), std::pair(counts.lost, ChangeKind::kLost),
        std::pair(counts.changed, ChangeKind::kChanged)}) {
    if (count > 0) append(words, std::to_string(count) + " " + name_of(kind).word);
  }
  return words.empty() ? "no change" : words;
}

std::string count_keys(Outline const& outline) {
  return counted(outline.keys.gained, "key", "keys") + " gained, " +
         std::to_string(outline.keys.lost) + " lost, " + std::to_string(outline.keys.changed) +
         " changed";
}

std::string describe_result(int code) {
  auto const result =
      std::ranges::find(kResults, code, [](Result const& r) -> int { return r.code; });
  return std::to_string(code) + ": " +
         (result != std::end(kResults) ? result->meaning : "a result that is not known here") + ".";
}

bool is_in(Scope const& scope, KeyChange const& change) {
  if (scope.area && item_at(change.path).area != *scope.area) return false;
  return is_or_is_below(change.path, scope.key);
}

void visit_changes(Rehearsal const& rehearsal, ChangeVisitor const& visit) {
  if (rehearsal.before && rehearsal.after) {
    compare_stores(*rehearsal.before, *rehearsal.after, visit);
  }
}

size_t visit_by_area(Rehearsal const& rehearsal, Scope const& scope, AreaVisitor const& enter,
                     ChangeVisitor const& visit) {
  std::array<size_t, std::size(kAreas)> shown{};
  size_t hidden = 0;
  visit_changes(rehearsal, [&](KeyChange const& change) {
    bool const seen = is_in(scope, change);
    (seen ? shown[static_cast<size_t>(item_at(change.path).area)] : hidden) += change.keys;
  });
  for (size_t i = 0; i < shown.size(); ++i) {
    if (shown[i] == 0) continue;
    auto const area = static_cast<Area>(i);
    enter(area, shown[i]);
    visit_changes(rehearsal, [&](KeyChange const& change) {
      if (item_at(change.path).area == area && is_in(scope, change)) visit(change);
    });
  }
  return hidden;
}

}  // namespace zeva
