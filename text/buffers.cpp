#include "buffers.h"

#include <stdlib.h>

namespace {

constexpr size_t kConditionSize = 1024;
static_assert(sizeof(_NvPolAddrPairCond) <= kConditionSize);

template <class T>
int clear(T** slots) {
  for (; *slots != nullptr; ++slots) free(*slots);
  return 0;
}

template <class T>
int create(T** slots, int count, size_t size) {
  if (count < 0) return -1;
  for (int i = 0; i < count; ++i) {
    slots[i] = static_cast<T*>(calloc(1, size));
    if (slots[i] != nullptr) continue;
    clear(slots);
    slots[0] = nullptr;
    return -1;
  }
  slots[count] = nullptr;
  return 0;
}

}  // namespace

int createBuffers(char** buffers, int count, size_t size) {
  return create(buffers, count, size);
}

int clearBuffers(char** buffers) {
  return clear(buffers);
}

int createConds(_NvPolAddrPairCond** conditions, int count) {
  return create(conditions, count, kConditionSize);
}

int clearConds(_NvPolAddrPairCond** conditions) {
  return clear(conditions);
}
