// The INI model's sequence of named items: it keeps its own order and finds the first item of a
// name in constant time, however long it is. A short sequence has no index; looking through it is
// quicker.
#pragma once

#include "nameindex.h"
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

// `kName` gives an item's name: a data member or a member function. An item can be made of its name
// alone. Names are compared byte by byte; the name of an item in the sequence must not be changed.
// A sequence holds fewer than 2^32 items.
template <class Item, auto kName>
class NamedSequence {
 public:
  std::vector<Item> const& items() const { return items_; }

  // `items` may hold a name more than once: lookups find the first. True when they do not.
  [[nodiscard]] bool assign(std::vector<Item> items) {
    items_ = std::move(items);
    index_.clear();
    if (items_.size() > kScanned) return index_items();
    return std::all_of(items_.begin(), items_.end(),
                       [this](Item const& item) { return find(name_of(item)) == &item; });
  }

  // The items, which the sequence gives away.
  std::vector<Item> release() {
    index_.clear();
    return std::exchange(items_, {});
  }

  void clear() {
    items_.clear();
    index_.clear();
  }

  // The first item of that name, null when there is none; valid until the sequence changes.
  [[nodiscard]] Item const* find(std::string_view name) const {
    return find(name, index_.empty() ? 0 : name_hash(name));
  }
  [[nodiscard]] Item* find(std::string_view name) {
    return const_cast<Item*>(std::as_const(*this).find(name));
  }

  // The first item of that name, appended when there is none; valid until the sequence changes. The
  // name may be part of an item.
  Item& obtain(std::string_view name) {
    uint32_t const hash = index_.empty() ? 0 : name_hash(name);
    if (Item const* item = find(name, hash)) return const_cast<Item&>(*item);
    append(Item{std::string(name)}, hash);
    return items_.back();
  }

  // Appends the items in turn, but calls `replace` with the first of its name and the item for one
  // whose name is there already. Quicker than as many calls of obtain.
  template <class Replace>
  void merge(std::vector<Item> items, Replace replace) {
    if (items_.empty()) {
      if (assign(std::move(items))) return;
      items = release();
    }
    std::vector<uint32_t> const hashes = hashes_of(items);
    for (size_t i = 0; i < items.size(); ++i) {
      __builtin_prefetch(place_ahead(hashes, i), 1);
      if (Item const* item = find(name_of(items[i]), hashes[i]))
        replace(const_cast<Item&>(*item), std::move(items[i]));
      else
        append(std::move(items[i]), hashes[i]);
    }
  }

 private:
  static constexpr size_t kScanned = 16;  // the longest sequence without an index

  static std::string const& name_of(Item const& item) { return std::invoke(kName, item); }

  // Of the item at a place that is counted from 1, as it is in the index.
  auto name_at() const {
    return [this](uint32_t place) -> std::string const& { return name_of(items_[place - 1]); };
  }

  static std::vector<uint32_t> hashes_of(std::vector<Item> const& items) {
    std::vector<uint32_t> hashes;
    hashes.reserve(items.size());
    for (Item const& item : items) hashes.push_back(name_hash(name_of(item)));
    return hashes;
  }

  // The hash counts only where there is an index.
  [[nodiscard]] Item const* find(std::string_view name, uint32_t hash) const {
    if (index_.empty()) {
      for (Item const& item : items_)
        if (name_of(item) == name) return &item;
      return nullptr;
    }
    uint32_t const place = index_.find(name, hash, name_at());
    return place == 0 ? nullptr : &items_[place - 1];
  }

  // Appends an item of a new name.
  void append(Item&& item, uint32_t hash) {
    make_room(items_);
    // Where there is no memory for it, there must be no item that is not found.
    if (!index_.empty()) index_.add(hash, static_cast<uint32_t>(items_.size() + 1));
    items_.push_back(std::move(item));
    if (index_.empty() && items_.size() > kScanned) index_items();
  }

  // What to prefetch in the turn `at` of many.
  void const* place_ahead(std::vector<uint32_t> const& hashes, size_t at) const {
    return index_.place(hashes[std::min(at + 16, hashes.size() - 1)]);
  }

  // True when no name stands twice.
  bool index_items() {
    std::vector<uint32_t> const hashes = hashes_of(items_);
    index_.reset(std::max(items_.size(), 2 * kScanned));

    bool distinct = true;
    for (size_t i = 0; i < items_.size(); ++i) {
      __builtin_prefetch(place_ahead(hashes, i), 1);
      distinct &=
          index_.add_new(name_of(items_[i]), hashes[i], static_cast<uint32_t>(i + 1), name_at());
    }
    return distinct;
  }

  std::vector<Item> items_;
  NameIndex<uint32_t> index_;  // of places, counted from 1
};

}  // namespace zeva
