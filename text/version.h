// Version numbers packed into 32 bits: the major number above, four hexadecimal digits of the minor
// number below, so that 6.5 is 0x00065000 and sorts above 6.05. For programs that work on the
// policy store beside the migration, the console's and the gateway's own.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>

// Packs "major.minor". The digits after the first point, at most four, are the minor number's
// digits from the left; without them it is 0.
uint32_t NvMakeVersion(std::string const& version);

// Writes a packed version as "%x.%x", cut at `size` - 1 characters. 0, also when it was cut; -1 for
// a buffer of no size.
int NvMakeVersionString(uint32_t version, char* text, size_t size);
