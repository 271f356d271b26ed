#include "changes.h"

#include <utility>

namespace zeva {
namespace {

bool equal(Value const& a, Value const& b) {
  return a.type == b.type && a.data == b.data;
}

// Either key may be null, which has no values.
std::vector<ValueChange> compare_values(Key const* before, Key const* after) {
  std::vector<ValueChange> changes;
  for (size_t i = 0; after != nullptr && i < after->values.size(); ++i) {
    Value const& value = after->values[i];
    Value const* const old = before != nullptr ? before->values.find(value.name) : nullptr;
    if (old == nullptr) {
      changes.push_back({std::nullopt, value});
    } else if (!equal(*old, value)) {
      changes.push_back({*old, value});
    }
  }
  for (size_t i = 0; before != nullptr && i < before->values.size(); ++i) {
    Value const& value = before->values[i];
    if (after == nullptr || after->values.find(value.name) == nullptr) {
      changes.push_back({value, std::nullopt});
    }
  }
  return changes;
}

// Walks both trees side by side, without recursion: they may be deeper than the stack reaches.
class Comparison {
 public:
  explicit Comparison(ChangeVisitor const& visit) : visit_(visit) {}

  void run(Key const& before, Key const& after) {
    enter({&before, &after});
    while (!open_.empty()) {
      Sides const below = next(open_.back());
      if (below.before != nullptr || below.after != nullptr) {
        enter(below);
      } else {
        path_.resize(open_.back().parent_length);
        open_.pop_back();
      }
    }
  }

 private:
  // The same key in both stores; null where it is not.
  struct Sides {
    Key const* before = nullptr;
    Key const* after = nullptr;
  };
  struct Open {
    Sides key;
    size_t parent_length;  // of the path
    size_t place = 0;      // among the subkeys after, followed by those before
  };

  static Sides next(Open& open) {
    auto const& [before, after] = open.key;
    size_t const now = after != nullptr ? after->subkeys.size() : 0;
    size_t const end = now + (before != nullptr ? before->subkeys.size() : 0);
    while (open.place < end) {
      size_t const place = open.place++;
      if (place < now) {
        Key const& key = after->subkeys[place];
        return {before != nullptr ? before->subkeys.find(key.name) : nullptr, &key};
      }
      Key const& key = before->subkeys[place - now];
      if (after == nullptr || after->subkeys.find(key.name) == nullptr) return {&key, nullptr};
    }
    return {};
  }

  void enter(Sides const& key) {
    using Kind = KeyChange::Kind;
    bool const in_both = key.before != nullptr && key.after != nullptr;
    Key const& shown = key.after != nullptr ? *key.after : *key.before;
    size_t const parent_length = path_.size();
    if (!path_.empty()) path_ += '\\';
    path_ += shown.name;
    open_.push_back({key, parent_length});
    if (!in_both && shown.values.size() == 0 && shown.subkeys.size() == 1) {
      ++chain_;
      return;
    }
    auto values = compare_values(key.before, key.after);
    if (in_both && values.empty()) return;
    Kind const kind = in_both ? Kind::kChanged : key.after != nullptr ? Kind::kGained : Kind::kLost;
    visit_({path_, kind, std::move(values), 1 + std::exchange(chain_, 0)});
  }

  ChangeVisitor const& visit_;
  std::vector<Open> open_;
  std::string path_;
  size_t chain_ = 0;  // keys above the current one that are told with it
};

}  // namespace

void compare_stores(Key const& before, Key const& after, ChangeVisitor const& visit) {
  Comparison(visit).run(before, after);
}

}  // namespace zeva
