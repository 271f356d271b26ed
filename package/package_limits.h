// What no package may pass: md5sum reads what is listed to its end, and the list itself line by
// line. Nobody has an export as large.
#pragma once

#include <sys/types.h>

namespace zeva {

inline constexpr off_t kLargestExport = off_t{16} << 30;
inline constexpr off_t kLargestList = off_t{256} << 20;

}  // namespace zeva
