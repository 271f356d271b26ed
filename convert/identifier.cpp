#include "identifier.h"

#include <ctype.h>
#include <stdio.h>
#include <time.h>

#include <algorithm>

namespace {

constexpr size_t kIdentifierSize = 16;
constexpr size_t kLongestText = 39;

// Two columns a byte, the first of which may be blank.
bool is_blank_padded(std::string const& text) {
  if (text.size() != 2 * kIdentifierSize) return false;
  for (size_t i = 0; i < text.size(); ++i)
    if (!isxdigit(static_cast<unsigned char>(text[i])) && (i % 2 != 0 || text[i] != ' '))
      return false;
  return true;
}

}  // namespace

void str_to_guid(std::string const* text, char* bytes) {
  std::string digits = *text;
  if (is_blank_padded(digits)) std::replace(digits.begin(), digits.end(), ' ', '0');
  char const* at = digits.c_str();
  for (size_t i = 0; i < kIdentifierSize; ++i) {
    unsigned field;
    int used;
    if (sscanf(at, "%2x%n", &field, &used) != 1) return;
    bytes[i] = static_cast<char>(field);
    at += used;
  }
}

void guid_to_str(char const* bytes, std::string* text) {
  text->clear();
  for (size_t i = 0; i < kIdentifierSize; ++i) {
    char digits[9];
    snprintf(digits, sizeof digits, "%2x",
             static_cast<unsigned>(static_cast<signed char>(bytes[i])));
    *text += digits;
  }
  if (text->size() > kLongestText) text->resize(kLongestText);
}

void gen_iname(std::string& out) {
  static time_t last = 0;
  time_t now = time(nullptr);
  last = now == last ? now + 1 : now;
  out = std::to_string(static_cast<unsigned long>(last));
}
