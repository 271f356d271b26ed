// What a store gains, loses and changes, key by key.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "registry_view.h"

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
};

// In the order of the store after the run, then what it has lost in the order of before.
[[nodiscard]] std::vector<KeyChange> compare_stores(Key const& before, Key const& after);

}  // namespace zeva
