#include "text.h"

#include <stdint.h>

namespace zeva {

namespace {

// The length of the sequence that a first byte announces; 0 when it can start none.
size_t sequence_length(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  if (first >= 0xF0 && first < 0xF5) return 4;
  return 0;
}

bool is_sequence(std::string_view bytes) {
  uint32_t code = static_cast<unsigned char>(bytes[0]) & (0x7Fu >> bytes.size());
  for (char byte : bytes.substr(1)) {
    if ((byte & 0xC0) != 0x80) return false;
    code = code << 6 | (static_cast<unsigned char>(byte) & 0x3Fu);
  }
  if (bytes.size() == 3) return code >= 0x800 && (code < 0xD800 || code > 0xDFFF);
  return bytes.size() < 4 || (code >= 0x10000 && code <= 0x10FFFF);
}

int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool is_utf8(std::string_view bytes) {
  while (!bytes.empty()) {
    size_t length = sequence_length(static_cast<unsigned char>(bytes[0]));
    if (length == 0 || length > bytes.size() || !is_sequence(bytes.substr(0, length))) return false;
    bytes.remove_prefix(length);
  }
  return true;
}

std::string to_hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(2 * bytes.size());
  for (char byte : bytes) {
    hex += kDigits[static_cast<unsigned char>(byte) >> 4];
    hex += kDigits[byte & 0xF];
  }
  return hex;
}

bool from_hex(std::string_view hex, std::string& bytes) {
  if (hex.size() % 2 != 0) return false;
  bytes.clear();
  bytes.reserve(hex.size() / 2);
  for (size_t i = 0; i < hex.size(); i += 2) {
    int high = digit(hex[i]);
    int low = digit(hex[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes += static_cast<char>(high << 4 | low);
  }
  return true;
}

}  // namespace zeva
