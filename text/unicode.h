// Conversions from ICU's Unicode texts, UTF-16 inside, to bytes: for programs that work on the
// policy store beside the migration, the console's and the gateway's own.
//
// `length` is a buffer's capacity on entry and the number of bytes written afterwards; a NUL
// follows them when there is room for it. Results are 0, or -1 for an unknown code page, with
// length 0, and for a buffer that is too small, which then holds as many bytes as fit. A character
// that the code page does not have becomes its substitute.
#pragma once

#include "nvpol.h"

#include <unicode/unistr.h>

#include <stdint.h>

#include <string>

// Copies the text's UTF-16 units, `text.length()` of them, without a terminator.
int ustringtouchar(icu::UnicodeString const& text, UChar* buffer);

[[nodiscard]] int convucharstoutf8(UChar const* text, int32_t text_length, char* buffer,
                                   int32_t& length);
[[nodiscard]] int convustringtoutf8(icu::UnicodeString const& text, char* buffer, int32_t& length);

// A code page by any of ICU's names for it; "ascii" when it is null or empty.
[[nodiscard]] int convucharstocodepage(char const* code_page, UChar const* text,
                                       int32_t text_length, char* buffer, int32_t& length);
[[nodiscard]] int convustringtocodepage(char const* code_page, icu::UnicodeString const& text,
                                        char* buffer, int32_t& length);

// To UTF-8, cut at 8200 bytes.
[[nodiscard]] int convunicodetostring(icu::UnicodeString const& text, std::string& out);

// Puts each text that is not empty into its field of the record as UTF-8, cut at the field's size;
// a text that fills its field has no terminator. Returns 0.
int commonustringtoutf8(_NvPolCommAttrib& record, icu::UnicodeString const& display_name,
                        icu::UnicodeString const& comment);
