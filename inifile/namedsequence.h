// The INI model's sequence of named items: it keeps its own order and finds the first item of a
// name in constant time, however long it is. A short sequence has no index; looking through it is
// quicker.
#pragma once

#include "nameindex.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace zeva {

// `kName` gives an item's name: a data member or a member function. An item can be made of its name
// alone. Names are compared byte by byte; the name of an item in the sequence must not be changed.
// A sequence holds fewer than 2^32 items.
template <class Item, auto kName>
class NamedSequence {
 public:
  using Name = std::remove_cvref_t<std::invoke_result_t<decltype(kName), Item const&>>;

  std::vector<Item> const& items() const { return items_; }

  // `items` may hold a name more than once: lookups find the first.
  void assign(std::vector<Item> items) {
    items_ = std::move(items);
    index_.clear();
    if (items_.size() > kScanned) index_items(items_.size());
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

  // The first item of that name, appended when there is none; valid until the sequence changes.
  Item& obtain(Name name) {
    uint32_t const hash = index_.empty() ? 0 : name_hash(name);
    if (Item const* item = find(name, hash)) return const_cast<Item&>(*item);
    append(Item{std::move(name)}, hash);
    return items_.back();
  }

  // Makes room for so many items in all.
  void reserve(size_t items) {
    items_.reserve(items);
    if (items > kScanned) index_items(items);
  }

  // Moves the items to the end in turn, but calls `replace` with the first of its name and the item
  // for one whose name is there already. Quicker than as many calls of obtain; an empty sequence
  // takes no more room than it needs.
  template <class Replace>
  void merge(std::span<Item> items, Replace replace) {
    if (items_.empty()) reserve(items.size());
    while (!items.empty()) {
      std::span<Item> const some = items.first(std::min(items.size(), kAhead));
      merge_some(some, replace);
      items = items.subspan(some.size());
    }
  }

 private:
  static constexpr size_t kScanned = 16;  // the longest sequence without an index
  static constexpr size_t kAhead = 64;    // items whose places in the index are fetched at once

  // Where an item is, as the index has it.
  struct Place {
    char const* name = nullptr;  // only to be prefetched beside the item: it may have moved since
    uint32_t number = 0;         // counted from 1
    explicit operator bool() const { return number != 0; }
  };

  static std::string_view name_of(Item const& item) { return std::invoke(kName, item); }

  auto name_at() const {
    return [this](Place place) {
      __builtin_prefetch(place.name);
      return name_of(items_[place.number - 1]);
    };
  }

  // The hash counts only where there is an index.
  [[nodiscard]] Item const* find(std::string_view name, uint32_t hash) const {
    if (index_.empty()) {
      for (Item const& item : items_)
        if (std::invoke(kName, item) == name) return &item;
      return nullptr;
    }
    Place const place = index_.find(name, hash, name_at());
    return place ? &items_[place.number - 1] : nullptr;
  }

  template <class Replace>
  void merge_some(std::span<Item> items, Replace& replace) {
    std::array<uint32_t, kAhead> hashes{};
    if (!index_.empty() || items_.size() + items.size() > kScanned) {
      for (size_t i = 0; i < items.size(); ++i) {
        hashes[i] = name_hash(name_of(items[i]));
        __builtin_prefetch(index_.place(hashes[i]), 1);
      }
    }
    for (size_t i = 0; i < items.size(); ++i) {
      if (Item const* item = find(name_of(items[i]), hashes[i]))
        replace(const_cast<Item&>(*item), std::move(items[i]));
      else
        append(std::move(items[i]), hashes[i]);
    }
  }

  // Appends an item of a new name.
  void append(Item&& item, uint32_t hash) {
    if (items_.size() == items_.capacity()) items_.reserve(2 * items_.size() + 1);
    // Where there is no memory for it, there must be no item that is not found.
    if (!index_.empty())
      index_.add(hash, {name_of(item).data(), static_cast<uint32_t>(items_.size() + 1)});
    items_.push_back(std::move(item));
    if (index_.empty() && items_.size() > kScanned) index_items(2 * kScanned);
  }

  // Makes the index, or enlarges it, for so many items in all.
  void index_items(size_t room) {
    bool const made = !index_.empty();
    index_.reserve(room);
    if (made) return;
    for (size_t i = 0; i < items_.size(); ++i) {
      std::string_view const name = name_of(items_[i]);
      uint32_t const hash = name_hash(name);
      if (!index_.find(name, hash, name_at()))
        index_.add(hash, {name.data(), static_cast<uint32_t>(i + 1)});
    }
  }

  std::vector<Item> items_;
  NameIndex<Place> index_;
};

}  // namespace zeva
