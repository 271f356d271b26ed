// The registry in memory: keys that hold values and subkeys, both in the order of their creation.
//
// A path of 1 MiB is half a million keys deep, so nothing here or around it recurses along the
// depth of the tree: walk() is the way through it.
#pragma once

#include "ordered.h"
#include "registry.pb.h"

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {

struct Value {
  std::string name;
  uint32_t type = 0;  // _NvRegDataType
  std::string data;
};

struct Key {
  Key() = default;
  ~Key();
  Key(Key const&) = delete;
  Key& operator=(Key const&) = delete;

  std::string name;  // empty for the root only
  Ordered<Value> values;
  Ordered<Key> subkeys;
};

// Visits a key and all below it, depth first in store order: `enter` before what is below a key,
// `leave` after it.
template <class Enter, class Leave>
void walk(Key const& top, Enter enter, Leave leave) {
  std::vector<std::pair<Key const*, size_t>> open;  // and the place of the subkey to visit next
  enter(top);
  open.emplace_back(&top, 0);
  while (!open.empty()) {
    auto& [key, place] = open.back();
    if (place == key->subkeys.size()) {
      leave(*key);
      open.pop_back();
      continue;
    }
    Key const& below = key->subkeys[place++];
    enter(below);
    open.emplace_back(&below, 0);
  }
}

// The key at a path below a key; null when it is not there.
[[nodiscard]] Key const* find_key(Key const& top, std::string_view path);

// NVREG_OK when a value of that type and data may be stored, or why not.
[[nodiscard]] int32_t check_value(uint32_t type, std::string_view data);

// Whether a call asks for a change: what is logged, and all that apply() knows.
[[nodiscard]] bool is_change(wire::Call const& call);

// NVREG_OK when a change can be applied, or its status. `changes_nothing` is set when applying it
// would leave the tree as it is (the key to create is there).
[[nodiscard]] int32_t check(Key const& root, wire::Call const& change, bool& changes_nothing);

// Makes a change for which check() gave NVREG_OK.
void apply(Key& root, wire::Call const& change);

}  // namespace zeva
