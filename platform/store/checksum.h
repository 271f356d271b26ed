// The CRC-32 that a log's records and a snapshot's last line bear.
#pragma once

#include <zlib.h>

#include <stddef.h>
#include <stdint.h>

#include <string_view>

namespace zeva {

[[nodiscard]] inline uint32_t checksum(std::string_view bytes, uint32_t so_far = 0) {
  return static_cast<uint32_t>(
      crc32_z(so_far, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()));
}

// That of the `length` bytes behind a beginning, from those of the whole and of the beginning.
[[nodiscard]] inline uint32_t checksum_behind(uint32_t whole, uint32_t beginning, size_t length) {
  return whole ^ static_cast<uint32_t>(crc32_combine(beginning, 0, static_cast<z_off_t>(length)));
}

}  // namespace zeva
