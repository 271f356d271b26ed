#include "printable.h"

#include "text.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace zeva {
namespace {

// Takes the next character off the text; negative when its bytes are not UTF-8.
UChar32 next_character(std::string_view text, int32_t& position) {
  auto const* bytes = reinterpret_cast<unsigned char const*>(text.data());
  auto const length = static_cast<int32_t>(text.size());
  UChar32 character;
  U8_NEXT(bytes, position, length, character);
  return character;
}

std::string escaped(std::string_view bytes) {
  if (bytes == "\n") return "\\n";
  if (bytes == "\r") return "\\r";
  if (bytes == "\t") return "\\t";
  std::string out;
  for (char const byte : bytes) out += "\\x" + to_hex({&byte, 1});
  return out;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string out;
  int32_t position = 0;
  while (position < static_cast<int32_t>(text.size())) {
    auto const start = static_cast<size_t>(position);
    UChar32 const character = next_character(text, position);
    auto const bytes = text.substr(start, static_cast<size_t>(position) - start);
    if (character >= 0 && u_isprint(character)) {
      out += bytes;
    } else {
      out += escaped(bytes);
    }
  }
  return out;
}

std::string counted(size_t count, std::string_view one, std::string_view many) {
  return std::to_string(count).append(" ").append(count == 1 ? one : many);
}

}  // namespace zeva
