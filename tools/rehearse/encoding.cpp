#include "encoding.h"

#include <unicode/ucnv.h>
#include <unicode/ucsdet.h>
#include <unicode/unistr.h>

#include <iconv.h>

#include <memory>

namespace zeva {
namespace {

constexpr int32_t kLikely = 30;  // of 100; 10 is said of bytes that could be anything

// The converter for UTF-16 of that byte order; null when it is none. Files without a mark begin
// with a character of ASCII: a bracket, a comment's sign or a blank.
char const* utf16_of(std::string_view bytes) {
  if (bytes.size() < 4 || bytes.size() % 2 != 0) return nullptr;
  bool const little = bytes[0] != '\0' && bytes[1] == '\0' && bytes[2] != '\0' && bytes[3] == '\0';
  bool const big = bytes[0] == '\0' && bytes[1] != '\0' && bytes[2] == '\0' && bytes[3] != '\0';
  if (little || bytes.starts_with("\xFF\xFE")) return "UTF-16LE";
  if (big || bytes.starts_with("\xFE\xFF")) return "UTF-16BE";
  return nullptr;
}

// Whether iconv knows a name, and it is another than what the text is to become.
bool is_convertible(std::string_view name) {
  iconv_t const conversion = iconv_open("UTF-8", std::string(name).c_str());
  if (conversion == reinterpret_cast<iconv_t>(-1)) return false;  // NOLINT: as iconv(3) has it
  iconv_close(conversion);
  return name != "UTF-8";
}

}  // namespace

std::optional<std::string> converted_from_utf16(std::string_view bytes) {
  char const* const encoding = utf16_of(bytes);
  if (encoding == nullptr) return std::nullopt;
  icu::UnicodeString text(bytes.data(), static_cast<int32_t>(bytes.size()), encoding);
  if (text.startsWith(icu::UnicodeString(UChar(0xFEFF)))) text.remove(0, 1);
  std::string converted;
  text.toUTF8String(converted);
  std::erase(converted, '\r');
  return converted;
}

std::string likely_encoding(std::string_view bytes) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> const detector(ucsdet_open(&status),
                                                                            ucsdet_close);
  ucsdet_setText(detector.get(), bytes.data(), static_cast<int32_t>(bytes.size()), &status);
  UCharsetMatch const* const match = ucsdet_detect(detector.get(), &status);
  if (U_FAILURE(status) || match == nullptr) return "";
  if (ucsdet_getConfidence(match, &status) < kLikely) return "";
  char const* const name = ucsdet_getName(match, &status);
  return U_SUCCESS(status) && is_convertible(name) ? name : "";
}

}  // namespace zeva
