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

#include <algorithm>
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
  // Before there is room for a first name and after clear(). Lookups find nothing then.
  [[nodiscard]] bool empty() const { return slots_.empty(); }
  void clear() { slots_.clear(); }

  // Makes room for so many names in all; at least doubles it where it has to grow.
  void reserve(size_t names) {
    if (slots_for(names) <= slots_.size()) return;
    std::vector<Slot> former(std::max({slots_for(names), 2 * slots_.size(), kFewest}));
    slots_.swap(former);
    taken_ = 0;
    for (Slot const& slot : former)
      if (slot.handle) put(slot);
  }

  // The handle under a name; `name_of` gives the name of a handle's item.
  template <class NameOf>
  [[nodiscard]] Handle find(std::string_view name, uint32_t hash, NameOf name_of) const {
    return slots_.empty() ? Handle() : slots_[slot_of(name, hash, name_of)].handle;
  }

  // Adds a handle under a name that is not there.
  void add(uint32_t hash, Handle handle) {
    reserve(slots_.empty() ? 1 : taken_ + 1);
    put({handle, hash});
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
      if (distance(home(slots_[at].hash), at) < distance(hole, at)) continue;
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
    return slots_.empty() ? nullptr : &slots_[home(hash)];
  }

 private:
  static constexpr size_t kFewest = 4;  // slots: most keys of a store hold an item or two
  static constexpr size_t kLine = 64;   // bytes that the caches fetch at once

  struct Slot {
    [[no_unique_address]] Handle handle{};  // none in a free slot; lends the hash its padding
    uint32_t hash = 0;
  };

  // A third stays free: with less, searches are longer; with more, less of the table fits into the
  // caches.
  static size_t slots_for(size_t names) { return names + names / 2 + 1; }

  void put(Slot slot) {
    size_t at = home(slot.hash);
    while (slots_[at].handle) at = next(at);
    slots_[at] = slot;
    ++taken_;
  }

  // The slot of that name, or the free one that it would take.
  template <class NameOf>
  [[nodiscard]] size_t slot_of(std::string_view name, uint32_t hash, NameOf name_of) const {
    size_t at = home(hash);
    // Every other search or so goes on in the next line, and should not wait a second time.
    __builtin_prefetch(&slots_[std::min(at + kLine / sizeof(Slot), slots_.size() - 1)]);
    while (slots_[at].handle && (slots_[at].hash != hash || name_of(slots_[at].handle) != name))
      at = next(at);
    return at;
  }

  // Where the search for a hash begins: they are spread evenly over however many slots.
  [[nodiscard]] size_t home(uint32_t hash) const {
    return static_cast<size_t>(uint64_t{hash} * slots_.size() >> 32);
  }
  [[nodiscard]] size_t next(size_t slot) const { return slot + 1 == slots_.size() ? 0 : slot + 1; }
  [[nodiscard]] size_t distance(size_t from, size_t to) const {
    return to >= from ? to - from : to + slots_.size() - from;
  }

  std::vector<Slot> slots_;  // open addressing
  size_t taken_ = 0;         // counts while there are slots
};

}  // namespace zeva
