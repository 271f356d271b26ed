#include "unicode.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <vector>

namespace {

constexpr int32_t kStringBuffer = 8200;

void put_utf8(icu::UnicodeString const& text, char* field, int32_t size) {
  // A text that does not fit fills the field: it is meant to be cut.
  if (!text.isEmpty()) (void)convustringtocodepage("UTF8", text, field, size);
}

}  // namespace

int ustringtouchar(icu::UnicodeString const& text, UChar* buffer) {
  text.extract(0, text.length(), buffer);
  return 0;
}

int convucharstocodepage(char const* code_page, UChar const* text, int32_t text_length,
                         char* buffer, int32_t& length) {
  int32_t capacity = length;
  length = 0;
  if (code_page == nullptr || *code_page == '\0') code_page = "ascii";
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(code_page, &status);
  if (U_FAILURE(status)) return -1;
  int32_t needed = ucnv_fromUChars(converter, buffer, capacity, text, text_length, &status);
  ucnv_close(converter);
  length = std::min(needed, capacity);
  return U_FAILURE(status) ? -1 : 0;
}

int convustringtocodepage(char const* code_page, icu::UnicodeString const& text, char* buffer,
                          int32_t& length) {
  std::vector<UChar> units(static_cast<size_t>(text.length()));
  ustringtouchar(text, units.data());
  return convucharstocodepage(code_page, units.data(), text.length(), buffer, length);
}

int convucharstoutf8(UChar const* text, int32_t text_length, char* buffer, int32_t& length) {
  return convucharstocodepage("UTF8", text, text_length, buffer, length);
}

int convustringtoutf8(icu::UnicodeString const& text, char* buffer, int32_t& length) {
  return convustringtocodepage("UTF8", text, buffer, length);
}

int convunicodetostring(icu::UnicodeString const& text, std::string& out) {
  char buffer[kStringBuffer];
  int32_t length = sizeof buffer;
  int result = convustringtoutf8(text, buffer, length);
  out.assign(buffer, static_cast<size_t>(length));
  return result;
}

int commonustringtoutf8(_NvPolCommAttrib& record, icu::UnicodeString const& display_name,
                        icu::UnicodeString const& comment) {
  put_utf8(display_name, record.displayName, sizeof record.displayName);
  put_utf8(comment, record.comment, sizeof record.comment);
  return 0;
}
