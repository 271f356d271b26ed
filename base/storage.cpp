#include "storage.h"

#include <sys/mman.h>

#include <cstdint>

void zeva::prefer_huge_pages(void* block, size_t bytes) {
  constexpr size_t kHugePage = size_t{2} << 20;
  size_t const before = -reinterpret_cast<uintptr_t>(block) % kHugePage;
  if (bytes < before + kHugePage) return;
  madvise(static_cast<char*>(block) + before, (bytes - before) / kHugePage * kHugePage,
          MADV_HUGEPAGE);
}
