// Finds items by their names in constant time, wherever the items stand: a table of keyed hashes,
// each with a handle of its item. The names stay with the items.
//
// Two sequences of named items are built over it. That of the INI model (inifile/namedsequence.h)
// holds plain items in one block, as its lists are handed out, and may hold a name twice. That of
// the store (platform/store/ordered.h) holds each item at an address of its own and erases. As one
// container each would carry what only the other one needs: an index of places must be renumbered
// when an item in the middle goes, an index of addresses when the block moves.
#pragma once

#include "namehash.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {

// A default handle is false and leads to no item. Names are compared byte by byte. Hashes are those
// of name_hash; they are parameters so that callers may compute many of them ahead.
template <class Handle>
class NameIndex {
 public:
  // Before a first name is added and after clear(). Lookups find nothing then.
  [[nodiscard]] bool empty() const { return slots_.empty(); }
  void clear() { slots_.clear(); }

  // Empties the index and makes room for so many names.
  void reset(size_t names) {
    size_t size = kFewest;
    while (size / 2 < names) size *= 2;
    slots_.assign(size, Slot());
    taken_ = 0;
  }

  // The handle under a name; `name_of` gives the name of a handle's item.
  template <class NameOf>
  [[nodiscard]] Handle find(std::string_view name, uint32_t hash, NameOf name_of) const {
    return slots_.empty() ? Handle() : slots_[slot_of(name, hash, name_of)].handle;
  }

  // Adds a handle under a name that is not there.
  void add(uint32_t hash, Handle handle) {
    if (slots_.empty()) reset(1);
    if (2 * (taken_ + 1) > slots_.size()) double_slots();
    slots_[free_slot(slots_, hash)] = {handle, hash};
    ++taken_;
  }

  // Takes out and gives back the handle under a name.
  template <class NameOf>
  Handle remove(std::string_view name, uint32_t hash, NameOf name_of) {
    if (slots_.empty()) return Handle();
    size_t hole = slot_of(name, hash, name_of);
    Handle const removed = slots_[hole].handle;
    if (!removed) return removed;
    // Whatever was put further on because this slot was taken moves up.
    for (size_t at = next(hole); slots_[at].handle; at = next(at)) {
      if (distance(slots_[at].hash, at) < distance(hole, at)) continue;
      slots_[hole] = slots_[at];
      hole = at;
    }
    slots_[hole] = Slot();
    --taken_;
    return removed;
  }

  // Memory that a lookup of that hash will read, to be prefetched: almost every slot of a large
  // index is a miss in the caches. (A function that prefetched by itself would count as one without
  // any effect, and be left out.)
  [[nodiscard]] void const* place(uint32_t hash) const {
    return slots_.empty() ? nullptr : &slots_[hash & mask()];
  }

 private:
  static constexpr size_t kFewest = 4;  // slots: most keys of a store hold an item or two

  struct Slot {
    [[no_unique_address]] Handle handle{};  // none in a free slot; lends the hash its padding
    uint32_t hash = 0;
  };

  // The slot that a new name would take.
  static size_t free_slot(std::vector<Slot> const& slots, uint32_t hash) {
    size_t const mask = slots.size() - 1;
    size_t at = hash & mask;
    while (slots[at].handle) at = (at + 1) & mask;
    return at;
  }

  // The slot of that name, or the free one that it would take.
  template <class NameOf>
  [[nodiscard]] size_t slot_of(std::string_view name, uint32_t hash, NameOf name_of) const {
    size_t at = hash & mask();
    while (slots_[at].handle && (slots_[at].hash != hash || name_of(slots_[at].handle) != name))
      at = next(at);
    return at;
  }

  [[nodiscard]] size_t mask() const { return slots_.size() - 1; }
  [[nodiscard]] size_t next(size_t slot) const { return (slot + 1) & mask(); }
  [[nodiscard]] size_t distance(size_t from, size_t to) const { return (to - from) & mask(); }

  void double_slots() {
    std::vector<Slot> doubled(2 * slots_.size());
    for (Slot const& slot : slots_)
      if (slot.handle) doubled[free_slot(doubled, slot.hash)] = slot;
    slots_.swap(doubled);
  }

  std::vector<Slot> slots_;  // open addressing: a power of two, at most half taken
  size_t taken_ = 0;         // counts while there are slots
};

}  // namespace zeva
