// Bytes as text that a person can read and a text file can carry.
#pragma once

#include <string>
#include <string_view>

namespace zeva {

// Whether bytes are well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF.
[[nodiscard]] bool is_utf8(std::string_view bytes);

// Two lower-case digits a byte.
[[nodiscard]] std::string to_hex(std::string_view bytes);

// The bytes that to_hex has shown; false for anything else. Capital digits are read, too.
[[nodiscard]] bool from_hex(std::string_view hex, std::string& bytes);

}  // namespace zeva
