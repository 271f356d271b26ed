// A sequence that keeps its own order and finds the first item of a name in constant time, however
// long it is: an index of hashes stands beside the items. A short sequence has no index; looking
// through it is quicker.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "namehash.h"
#include "storage.h"

namespace zeva {

// kName gives an item's name: a data member or a member function. An item can be made of its name
// alone. Names are compared byte by byte; the name of an item in the sequence must not be changed.
// A sequence holds fewer than 2^32 items.
template <typename Item, auto kName>
class NamedSequence {
 public:
  std::vector<Item> const& items() const { return items_; }

  // ITEMS may hold a name more than once: lookups find the first. True when they do not.
  bool assign(std::vector<Item> items) {
    items_ = std::move(items);
    slots_.clear();
    if (items_.size() > kScanned) return index_items();
    return std::all_of(items_.begin(), items_.end(),
                       [this](Item const& item) { return find(name_of(item)) == &item; });
  }

  // The items, which the sequence gives away.
  std::vector<Item> release() {
    slots_.clear();
    return std::exchange(items_, {});
  }

  void clear() {
    items_.clear();
    slots_.clear();
  }

  // The first item of that name, null when there is none; valid until the sequence changes.
  Item const* find(std::string_view name) const {
    if (slots_.empty()) {
      for (Item const& item : items_)
        if (name_of(item) == name) return &item;
      return nullptr;
    }
    Slot const& slot = slots_[slot_of(name, name_hash(name))];
    return slot.item == 0 ? nullptr : &items_[slot.item - 1];
  }
  Item* find(std::string_view name) { return const_cast<Item*>(std::as_const(*this).find(name)); }

  // The first item of that name, appended when there is none; valid until the sequence changes.
  Item& obtain(std::string_view name) {
    if (slots_.empty()) {
      if (Item* item = find(name)) return *item;
      append(name);
      if (items_.size() > kScanned) index_items();
      return items_.back();
    }
    uint32_t const hash = name_hash(name);
    size_t const at = slot_of(name, hash);
    if (slots_[at].item != 0) return items_[slots_[at].item - 1];
    append(name);
    slots_[at] = {hash, static_cast<uint32_t>(items_.size())};
    if (items_.size() > slots_.size() / 2) double_slots();
    return items_.back();
  }

 private:
  static constexpr size_t kScanned = 16;  // the longest sequence without an index

  struct Slot {
    uint32_t hash = 0;
    uint32_t item = 0;  // its position, counted from 1; 0 in a free slot
  };

  static std::string const& name_of(Item const& item) { return std::invoke(kName, item); }

  static std::vector<Slot> free_slots(size_t count) {
    auto slots = vector_with_room<Slot>(count);
    slots.resize(count);
    return slots;
  }

  void append(std::string_view name) {
    make_room(items_);
    items_.push_back(Item{std::string(name)});
  }

  // The slot of that name, or the free one that it would take.
  size_t slot_of(std::string_view name, uint32_t hash) const {
    size_t const mask = slots_.size() - 1;
    size_t at = hash & mask;
    while (slots_[at].item != 0 &&
           (slots_[at].hash != hash || name_of(items_[slots_[at].item - 1]) != name))
      at = (at + 1) & mask;
    return at;
  }

  // True when no name stands twice. Almost every slot of a long sequence is a miss in the caches:
  // they are asked for ahead of their turn.
  bool index_items() {
    size_t count = 4 * kScanned;
    while (count / 2 < items_.size()) count *= 2;
    slots_ = free_slots(count);
    std::vector<uint32_t> hashes;
    hashes.reserve(items_.size());
    for (Item const& item : items_) hashes.push_back(name_hash(name_of(item)));

    bool distinct = true;
    for (size_t i = 0; i < items_.size(); ++i) {
      size_t const ahead = std::min(i + 16, items_.size() - 1);
      __builtin_prefetch(&slots_[hashes[ahead] & (count - 1)], 1);
      Slot& slot = slots_[slot_of(name_of(items_[i]), hashes[i])];
      if (slot.item == 0)
        slot = {hashes[i], static_cast<uint32_t>(i + 1)};
      else
        distinct = false;
    }
    return distinct;
  }

  void double_slots() {
    std::vector<Slot> doubled = free_slots(2 * slots_.size());
    size_t const mask = doubled.size() - 1;
    for (Slot const& slot : slots_) {
      if (slot.item == 0) continue;
      size_t at = slot.hash & mask;
      while (doubled[at].item != 0) at = (at + 1) & mask;
      doubled[at] = slot;
    }
    slots_.swap(doubled);
  }

  std::vector<Item> items_;
  std::vector<Slot> slots_;  // open addressing: a power of two, at most half taken
};

}  // namespace zeva
