#include "storage.h"

#include <sys/mman.h>

#include <cstdint>

void zeva::prefer_huge_pages(void* block, size_t bytes) {
  constexpr uintptr_t kHugePage = uintptr_t{2} << 20;
  uintptr_t const begin = (reinterpret_cast<uintptr_t>(block) + kHugePage - 1) & ~(kHugePage - 1);
  uintptr_t const end = (reinterpret_cast<uintptr_t>(block) + bytes) & ~(kHugePage - 1);
  if (begin < end) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}
