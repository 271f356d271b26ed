// How the text of an export file is encoded: the importers take it as it is, and the console shows
// it as UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zeva {

// A file of UTF-16, with a byte order mark or without, as the UTF-8 with line ends of Unix that it
// has to become. Nothing when it is none.
[[nodiscard]] std::optional<std::string> converted_from_utf16(std::string_view bytes);

// What bytes that are no UTF-8 look like: a name such as "ISO-8859-1", as iconv
// knows it; empty for nothing known.
[[nodiscard]] std::string likely_encoding(std::string_view bytes);

}  // namespace zeva
