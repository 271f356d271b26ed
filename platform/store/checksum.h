// The CRC-32 that a log's records and a snapshot's last line bear.
#pragma once

#include <zlib.h>

#include <stdint.h>

#include <string_view>

namespace zeva {

[[nodiscard]] inline uint32_t checksum(std::string_view bytes, uint32_t so_far = 0) {
  return static_cast<uint32_t>(
      crc32_z(so_far, reinterpret_cast<unsigned char const*>(bytes.data()), bytes.size()));
}

}  // namespace zeva
