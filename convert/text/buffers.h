// Arrays of fixed-size buffers that end with a null slot, as the policy library takes them. 0 for
// success, -1 when memory runs out; then nothing is allocated and the first slot is null.
#pragma once

#include <stddef.h>

#include "nvpol.h"

// Fills the first count slots with zeroed buffers of size bytes and the next one with null: the
// array has count + 1 slots.
int createBuffers(char** buffers, int count, size_t size);

// Frees the buffers up to the first null slot; the slots keep their values.
void clearBuffers(char** buffers);

// The same for conditions, each zeroed.
int createConds(_NvPolAddrPairCond** conditions, int count);
void clearConds(_NvPolAddrPairCond** conditions);
