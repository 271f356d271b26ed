// The store's sequence of named items: it keeps the order of their creation and finds them by name
// or by place. Names are unique; no names are slower to find than others, whoever chose them.
#pragma once

#include "nameindex.h"

#include <stddef.h>
#include <stdint.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {

// Item has a member name, a std::string that does not change. Finding is constant in time; erasing
// moves one pointer for each item that follows.
template <class Item>
class Ordered {
 public:
  [[nodiscard]] size_t size() const { return slots_.size(); }

  // The item at a place below size().
  [[nodiscard]] Item const& operator[](size_t place) const { return *slots_[place].item; }

  // Null when there is none of that name.
  [[nodiscard]] Item const* find(std::string_view name) const {
    return by_name_.find(name, name_hash(name), name_of).item;
  }
  [[nodiscard]] Item* find(std::string_view name) {
    return const_cast<Item*>(std::as_const(*this).find(name));
  }

  // The item of that name, made at the end when there is none.
  Item& at(std::string_view name) {
    uint32_t const hash = name_hash(name);
    Item* const item = by_name_.find(name, hash, name_of).item;
    return item ? *item : make(name, hash);
  }

  // A new item of that name at the end; null when there is one.
  Item* add(std::string_view name) {
    uint32_t const hash = name_hash(name);
    return by_name_.find(name, hash, name_of).item ? nullptr : &make(name, hash);
  }

  // Does nothing when there is none of that name.
  void erase(std::string_view name) {
    Entry const gone = by_name_.remove(name, name_hash(name), name_of);
    if (!gone) return;
    slots_.erase(std::lower_bound(slots_.begin(), slots_.end(), gone.ordinal,
                                  [](Slot const& a, uint64_t b) { return a.ordinal < b; }));
  }

  // Moves all items to the end of a list and is empty afterwards.
  void move_to(std::vector<std::unique_ptr<Item>>& list) {
    by_name_.clear();
    for (Slot& slot : slots_) list.push_back(std::move(slot.item));
    slots_.clear();
  }

 private:
  struct Slot {
    uint64_t ordinal;  // rises along slots_
    std::unique_ptr<Item> item;
  };
  struct Entry {
    uint64_t ordinal = 0;
    Item* item = nullptr;
    explicit operator bool() const { return item != nullptr; }
  };

  Item& make(std::string_view name, uint32_t hash) {
    auto made = std::make_unique<Item>();
    made->name = name;
    // Wherever memory runs out, there is then no item by place that is not there by name, and none
    // by name that is gone.
    if (slots_.size() == slots_.capacity()) slots_.reserve(2 * slots_.size() + 1);
    by_name_.add(hash, {next_, made.get()});
    return *slots_.emplace_back(Slot{next_++, std::move(made)}).item;
  }

  static std::string const& name_of(Entry const& entry) { return entry.item->name; }

  std::vector<Slot> slots_;
  NameIndex<Entry> by_name_;
  uint64_t next_ = 0;
};

}  // namespace zeva
