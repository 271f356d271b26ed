// Room for sequences that may grow to millions of items. A lookup there waits for page tables
// longer than for the item itself, so long sequences ask for huge pages before they first touch
// their memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

namespace zeva {

// Advice for fresh memory. Of no consequence where the kernel has no huge pages to give, and for
// blocks that would not fill one.
void prefer_huge_pages(void* block, size_t bytes);

// An empty vector with room for `count` items.
template <class Item>
std::vector<Item> vector_with_room(size_t count) {
  std::vector<Item> items;
  items.reserve(count);
  prefer_huge_pages(items.data(), count * sizeof(Item));
  return items;
}

// Doubles the room of a full vector, so that one more item can be appended in place.
template <class Item>
void make_room(std::vector<Item>& items) {
  if (items.size() < items.capacity()) return;
  auto larger = vector_with_room<Item>(std::max<size_t>(8, 2 * items.size()));
  std::move(items.begin(), items.end(), std::back_inserter(larger));
  items.swap(larger);
}

}  // namespace zeva
