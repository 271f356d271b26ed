// Arrays of fixed-size buffers that end with a null slot, as the policy library takes them. All
// return 0; creating returns -1 when memory runs out, then nothing is allocated and the first slot
// is null, and for a negative count, which leaves the array as it is.
//
// The store's wrappers use the conditions; the rest is for programs that work on the policy store
// beside the migration, the console's and the gateway's own.
#pragma once

#include "nvpol.h"

#include <stddef.h>

// Fills the first `count` slots with zeroed buffers of `size` bytes and the next one with null: the
// array has `count` + 1 slots.
[[nodiscard]] int createBuffers(char** buffers, int count, size_t size);

// Frees the buffers up to the first null slot; the slots keep their values.
int clearBuffers(char** buffers);

// The same for conditions, each zeroed.
[[nodiscard]] int createConds(_NvPolAddrPairCond** conditions, int count);
int clearConds(_NvPolAddrPairCond** conditions);
