// Texts in the fixed fields of the gateway's records (nvpol.h): a text that fills its field has no
// terminator.
#pragma once

#include <string.h>

#include <string>

namespace zeva {

// Fills a field with at most `limit` bytes of a text, and with NULs after it.
template <size_t size>
void fill_field(char (&field)[size], std::string const& text, size_t limit = size) {
  memset(field, 0, size);
  text.copy(field, limit);
}

// The text of a field, terminated or not.
template <size_t size>
[[nodiscard]] std::string read_field(char const (&field)[size]) {
  return std::string(field, strnlen(field, size));
}

}  // namespace zeva
