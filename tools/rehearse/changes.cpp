#include "changes.h"

#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace zeva {
namespace {

using Keys = std::unordered_map<std::string, std::vector<Value>>;

bool equal(Value const& a, Value const& b) {
  return a.type == b.type && a.data == b.data;
}

std::vector<ValueChange> compare_values(std::vector<Value> const& before,
                                        std::vector<Value> const& after) {
  std::unordered_map<std::string_view, Value const*> old_values;
  for (Value const& value : before) old_values.emplace(value.name, &value);
  std::vector<ValueChange> changes;
  for (Value const& value : after) {
    auto const old = old_values.find(value.name);
    if (old == old_values.end()) {
      changes.push_back({std::nullopt, value});
      continue;
    }
    if (!equal(*old->second, value)) changes.push_back({*old->second, value});
    old_values.erase(old);
  }
  for (Value const& value : before) {
    if (old_values.contains(value.name)) changes.push_back({value, std::nullopt});
  }
  return changes;
}

}  // namespace

std::vector<KeyChange> compare_stores(Key const& before, Key const& after) {
  using Kind = KeyChange::Kind;
  Keys old_keys;
  visit_tree(before, "", [&](KeyView const& key) {
    old_keys[key.path] = key.values;
    return true;
  });

  std::vector<KeyChange> changes;
  std::unordered_set<std::string> kept;
  visit_tree(after, "", [&](KeyView const& key) {
    auto const old = old_keys.find(key.path);
    bool const is_new = old == old_keys.end();
    auto values = compare_values(is_new ? std::vector<Value>() : old->second, key.values);
    if (!is_new) kept.insert(key.path);
    if (is_new || !values.empty()) {
      changes.push_back({key.path, is_new ? Kind::kGained : Kind::kChanged, std::move(values)});
    }
    return true;
  });
  visit_tree(before, "", [&](KeyView const& key) {
    if (!kept.contains(key.path)) {
      changes.push_back({key.path, Kind::kLost, compare_values(key.values, {})});
    }
    return true;
  });
  return changes;
}

}  // namespace zeva
