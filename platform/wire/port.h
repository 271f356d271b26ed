// The server's port as it is written: in its settings, and in the address that a client is given.
#pragma once

#include <stdint.h>

#include <charconv>
#include <string_view>

namespace zeva {

// A decimal number from 1 to 65535 and nothing else; false leaves `port` unusable.
[[nodiscard]] inline bool read_port(std::string_view text, uint16_t& port) {
  char const* const end = text.data() + text.size();
  auto const [stop, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && stop == end && port != 0;
}

}  // namespace zeva
