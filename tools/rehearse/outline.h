// A rehearsal in short: the verdict, and what each area of the policy gains, loses and changes.
#pragma once

#include "areas.h"
#include "changes.h"
#include "rehearsed.h"

#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace zeva {

// How many there are of each KeyChange::Kind.
struct ChangeCounts {
  size_t gained = 0;
  size_t lost = 0;
  size_t changed = 0;

  void add(KeyChange::Kind kind, size_t count);
  [[nodiscard]] size_t all() const { return gained + lost + changed; }
};

struct AreaOutline {
  ChangeCounts items;                   // policies, tasks, groups; see AreaItem
  std::vector<std::string> lost_items;  // by name
};

enum class Grade {
  kGood,   // everything of the package arrives as it is, and nothing is in the way of that
  kMixed,  // it is imported, but not all of it, not as it is, or not on this machine as it stands
  kBad,
};

struct Outline {
  Grade grade = Grade::kBad;
  std::string verdict;               // "imported, 2 items left out or altered"
  std::vector<std::string> remarks;  // on the verdict, in words; visible characters alone
  bool can_compare = false;          // there are two stores
  // What findings of losses tell of, and the files with errors in the run's log of which none
  // tells.
  size_t left_out = 0;
  size_t warnings = 0;      // of the run: what it has altered
  size_t store_errors = 0;  // see LogLine::is_of_store
  ChangeCounts keys;
  std::array<AreaOutline, std::size(kAreas)> areas;  // in the order of Area
};

[[nodiscard]] Outline outline_of(Rehearsal const& rehearsal);

// "2 gained, 1 lost", without what there is none of.
[[nodiscard]] std::string in_words(ChangeCounts const& counts);
// "1 key gained, 0 lost, 2 changed"
[[nodiscard]] std::string count_keys(Outline const& outline);

// In words, what a result code means.
[[nodiscard]] std::string describe_result(int code);

// Which of the changes are shown.
struct Scope {
  std::optional<Area> area;  // of this area alone
  std::string key;           // at and below this key, a path in normal form; empty for all
};

[[nodiscard]] bool is_in(Scope const& scope, KeyChange const& change);

// Visits the changes of a rehearsal, as far as there are two stores to compare.
void visit_changes(Rehearsal const& rehearsal, ChangeVisitor const& visit);

// Is given an area and how many keys of it change.
using AreaVisitor = std::function<void(Area area, size_t keys)>;

// Visits the changes that are shown, area by area: first each area that has any, then its changes.
// Returns how many changed keys are not shown.
size_t visit_by_area(Rehearsal const& rehearsal, Scope const& scope, AreaVisitor const& enter,
                     ChangeVisitor const& visit);

}  // namespace zeva
