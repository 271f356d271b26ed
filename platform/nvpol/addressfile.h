// The file of addresses that an administrator hands over, as a spreadsheet writes it.
#pragma once

#include "nvpol.h"

#include <string>
#include <vector>

namespace zeva {

// Appends the file's addresses, in their order. NVREG_NOT_FOUND when the file cannot be read or is
// no regular file, NVPOL_BAD_LINE when it is not such a list, NVPOL_BAD_FORMAT when it is too long
// for one; then `addresses` is as it was.
[[nodiscard]] int32_t read_address_file(char const* file, std::vector<std::string>& addresses);

}  // namespace zeva
