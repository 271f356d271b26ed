#include "outline.h"

#include "printable.h"
#include "results.h"

#include <algorithm>
#include <set>
#include <unordered_set>

namespace zeva {
namespace {

using ChangeKind = KeyChange::Kind;

void count_items(Rehearsal const& rehearsal, Outline& outline) {
  std::unordered_set<std::string> counted;
  visit_changes(rehearsal, [&](KeyChange const& change) {
    outline.keys.add(change.kind, change.keys);
    AreaItem const item = item_at(change.path);
    if (!counted.emplace(item.path).second) return;
    AreaOutline& area = outline.areas[static_cast<size_t>(item.area)];
    bool const is_new = find_key(*rehearsal.before, item.path) == nullptr;
    bool const is_gone = find_key(*rehearsal.after, item.path) == nullptr;
    area.items.add(is_new    ? ChangeKind::kGained
                   : is_gone ? ChangeKind::kLost
                             : ChangeKind::kChanged,
                   1);
    if (is_gone) area.lost_items.push_back(shown_name(item));
  });
}

size_t count_left_out(Rehearsal const& rehearsal) {
  std::set<std::string> told;
  size_t count = 0;
  for (Finding const& finding : rehearsal.findings) {
    if (finding.severity == Severity::kNote) continue;
    told.insert(finding.file);
    ++count;
  }
  for (LogLine const& line : rehearsal.log) {
    bool const is_error = line.is_trouble && !line.message.starts_with("Warning");
    if (is_error && told.insert(line.file).second) ++count;
  }
  return count;
}

std::string verdict_of(Rehearsal const& rehearsal, Outline const& outline) {
  if (!rehearsal.result) return "the run did not come to its end";
  if (*rehearsal.result == kImported) {
    std::string verdict = "imported";
    if (rehearsal.before && rehearsal.after && outline.keys.all() == 0) {
      verdict += ", nothing would change";
    }
    if (outline.left_out == 0) return verdict;
    return verdict + ", " + counted(outline.left_out, "item", "items") + " left out or altered";
  }
  if (!rehearsal.before || !rehearsal.after) return "not imported";
  return outline.keys.all() == 0 ? "not imported, the store is as it was"
                                 : "not imported, but the store is not as it was";
}

}  // namespace

void ChangeCounts::add(ChangeKind kind, size_t count) {
  (kind == ChangeKind::kGained ? gained : kind == ChangeKind::kLost ? lost : changed) += count;
}

Outline outline_of(Rehearsal const& rehearsal) {
  Outline outline;
  count_items(rehearsal, outline);
  for (Finding const& finding : rehearsal.findings) {
    ++outline.findings[static_cast<size_t>(finding.severity)];
  }
  outline.left_out = count_left_out(rehearsal);
  outline.verdict = verdict_of(rehearsal, outline);
  outline.is_good = rehearsal.result == kImported && outline.left_out == 0;
  return outline;
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

}  // namespace zeva
