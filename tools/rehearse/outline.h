// A rehearsal in short: the verdict, and what each area of the policy gains, loses and changes.
#pragma once

#include "areas.h"
#include "changes.h"
#include "rehearsed.h"

#include <array>
#include <cstddef>
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

struct Outline {
  std::string verdict;   // "imported, 2 items left out or altered"
  bool is_good = false;  // everything of the package arrives
  // The findings of losses, and the files with errors in the run's log of which no finding told.
  size_t left_out = 0;
  ChangeCounts keys;
  std::array<AreaOutline, std::size(kAreas)> areas;  // in the order of Area
  std::array<size_t, std::size(kSeverityNames)> findings{};
};

[[nodiscard]] Outline outline_of(Rehearsal const& rehearsal);

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

}  // namespace zeva
