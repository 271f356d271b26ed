#include "version.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

uint32_t NvMakeVersion(std::string const& version) {
  auto major = static_cast<uint32_t>(strtoll(version.c_str(), nullptr, 10));
  char minor[] = "0000";
  if (char const* point = strchr(version.c_str(), '.'))
    memcpy(minor, point + 1, std::min<size_t>(strspn(point + 1, "0123456789"), 4));
  return major << 16 | static_cast<uint32_t>(strtoul(minor, nullptr, 16));
}

int NvMakeVersionString(uint32_t version, char* text, size_t size) {
  if (size == 0) return -1;
  snprintf(text, size, "%x.%x", version >> 16, version & 0xffff);
  return 0;
}
