// Enumerations of the gateway's libraries.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "nvreg.h"

namespace zeva {

// A library's call that reads the name of the item at an index.
using Enumerator = void (*)(_NvPolComHandle* parent, uint32_t index, char* name, uint32_t* length,
                            int32_t* status);

// Appends the names that an enumeration gives, from index 0 on, each read into a buffer of
// name_size bytes. Returns the status that ended it; at_first tells whether it was the first
// call's.
int32_t append_names(Enumerator next, _NvPolComHandle* parent, uint32_t name_size,
                     std::vector<std::string>& names, bool& at_first);

}  // namespace zeva
