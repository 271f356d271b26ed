// A sequence that keeps its own order and finds the first item of a name in constant time, however
// long it is: an index of hashes stands beside the items. A short sequence has no index; looking
// through it is quicker.
#pragma once

#include "namehash.h"
#include "storage.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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
    return find(name, slots_.empty() ? 0 : name_hash(name));
  }
  Item* find(std::string_view name) { return const_cast<Item*>(std::as_const(*this).find(name)); }

  // The first item of that name, appended when there is none; valid until the sequence changes. The
  // name may be part of an item.
  Item& obtain(std::string_view name) {
    uint32_t const hash = slots_.empty() ? 0 : name_hash(name);
    if (Item const* item = find(name, hash)) return const_cast<Item&>(*item);
    append(Item{std::string(name)}, hash);
    return items_.back();
  }

  // Appends the items in turn, but calls REPLACE(the first of its name, the item) for one whose
  // name is there already. Quicker than as many calls of obtain.
  template <typename Replace>
  void merge(std::vector<Item> items, Replace replace) {
    if (items_.empty()) {
      if (assign(std::move(items))) return;
      items = release();
    }
    std::vector<uint32_t> const hashes = hashes_of(items);
    for (size_t i = 0; i < items.size(); ++i) {
      __builtin_prefetch(slot_ahead(hashes, i), 1);
      if (Item const* item = find(name_of(items[i]), hashes[i]))
        replace(const_cast<Item&>(*item), std::move(items[i]));
      else
        append(std::move(items[i]), hashes[i]);
    }
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

  static std::vector<uint32_t> hashes_of(std::vector<Item> const& items) {
    std::vector<uint32_t> hashes;
    hashes.reserve(items.size());
    for (Item const& item : items) hashes.push_back(name_hash(name_of(item)));
    return hashes;
  }

  // The hash counts only where there is an index.
  Item const* find(std::string_view name, uint32_t hash) const {
    if (slots_.empty()) {
      for (Item const& item : items_)
        if (name_of(item) == name) return &item;
      return nullptr;
    }
    Slot const& slot = slots_[slot_of(name, hash)];
    return slot.item == 0 ? nullptr : &items_[slot.item - 1];
  }

  // Appends an item of a new name.
  void append(Item&& item, uint32_t hash) {
    make_room(items_);
    items_.push_back(std::move(item));
    if (slots_.empty()) {
      if (items_.size() > kScanned) index_items();
      return;
    }
    slots_[free_slot(slots_, hash)] = {hash, static_cast<uint32_t>(items_.size())};
    if (items_.size() > slots_.size() / 2) double_slots();
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

  // The slot to prefetch in the turn AT of many. Almost every slot of a long sequence is a miss in
  // the caches. (A function that prefetched by itself would count as one without any effect, and
  // be left out.)
  Slot const* slot_ahead(std::vector<uint32_t> const& hashes, size_t at) const {
    if (slots_.empty()) return nullptr;
    return &slots_[hashes[std::min(at + 16, hashes.size() - 1)] & (slots_.size() - 1)];
  }

  // True when no name stands twice.
  bool index_items() {
    size_t count = 4 * kScanned;
    while (count / 2 < items_.size()) count *= 2;
    slots_ = free_slots(count);
    std::vector<uint32_t> const hashes = hashes_of(items_);

    bool distinct = true;
    for (size_t i = 0; i < items_.size(); ++i) {
      __builtin_prefetch(slot_ahead(hashes, i), 1);
      Slot& slot = slots_[slot_of(name_of(items_[i]), hashes[i])];
      if (slot.item == 0)
        slot = {hashes[i], static_cast<uint32_t>(i + 1)};
      else
        distinct = false;
    }
    return distinct;
  }

  // The slot that a new name would take.
  static size_t free_slot(std::vector<Slot> const& slots, uint32_t hash) {
    size_t const mask = slots.size() - 1;
    size_t at = hash & mask;
    while (slots[at].item != 0) at = (at + 1) & mask;
    return at;
  }

  void double_slots() {
    std::vector<Slot> doubled = free_slots(2 * slots_.size());
    for (Slot const& slot : slots_)
      if (slot.item != 0) doubled[free_slot(doubled, slot.hash)] = slot;
    slots_.swap(doubled);
  }

  std::vector<Item> items_;
  std::vector<Slot> slots_;  // open addressing: a power of two, at most half taken
};

}  // namespace zeva
