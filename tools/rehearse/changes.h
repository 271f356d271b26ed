// What a store gains, loses and changes, key by key.
#pragma once

#include "tree.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zeva {

// A value before and after; one that is gained or lost lacks the other side.
struct ValueChange {
  std::optional<Value> before;
  std::optional<Value> after;
};

struct KeyChange {
  enum class Kind { kGained, kLost, kChanged };
  std::string path;
  Kind kind;
  std::vector<ValueChange> values;
  // Counts the keys that lead to this one and are gained or lost with nothing else in them: they
  // are not told one by one, as all their paths together grow with the square of the depth.
  size_t keys;
};

// For a person, in the order of KeyChange::Kind.
struct ChangeName {
  char const* sign;
  char const* word;
};
inline constexpr ChangeName kChangeNames[] = {{"+", "gained"}, {"-", "lost"}, {"~", "changed"}};

[[nodiscard]] constexpr ChangeName const& name_of(KeyChange::Kind kind) {
  return kChangeNames[static_cast<size_t>(kind)];
}

using ChangeVisitor = std::function<void(KeyChange const&)>;

// In the order of the store after the run; below each key, what it has lost comes last.
void compare_stores(Key const& before, Key const& after, ChangeVisitor const& visit);

}  // namespace zeva
