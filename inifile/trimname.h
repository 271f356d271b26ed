// The blanks that an INI file's names and values do not keep.
#pragma once

#include <string>
#include <string_view>

// Removes leading spaces and tabs and trailing spaces. A trailing tab stays and protects the spaces
// before it; a carriage return is a character like any other.
void trimname(std::string& text);

namespace zeva {

// The part of `text` that trimname leaves.
std::string_view trimmed(std::string_view text);

}  // namespace zeva
