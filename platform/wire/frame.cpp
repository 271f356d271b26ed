#include "frame.h"

namespace zeva {

namespace {

template <class Number>
void put(std::string& out, Number number) {
  for (size_t i = 0; i < sizeof number; ++i) out += static_cast<char>(number >> (8 * i) & 0xff);
}

template <class Number>
Number get(char const* bytes) {
  Number number = 0;
  for (size_t i = sizeof number; i-- > 0;)
    number = static_cast<Number>(number << 8 | static_cast<unsigned char>(bytes[i]));
  return number;
}

}  // namespace

void put_number(std::string& out, uint32_t number) {
  put(out, number);
}
void put_number(std::string& out, uint64_t number) {
  put(out, number);
}
uint32_t get_number32(char const* bytes) {
  return get<uint32_t>(bytes);
}
uint64_t get_number64(char const* bytes) {
  return get<uint64_t>(bytes);
}

}  // namespace zeva
