// Typed text: the form in which every value of an export file is written, a type number, a colon
// and the payload: "1:30", "2:Quarantine", "3:first;second". docs/export-files.md describes it for
// people.
#pragma once

#include "nvreg.h"

#include <string>
#include <vector>

// The type numbers of typed text.
enum tag_VALUE_TYPE : int {
  VALUE_ANY = 0,         // no type; where one is expected, any
  VALUE_NUMBER = 1,      // decimal number
  VALUE_TEXT = 2,        // text
  VALUE_LIST = 3,        // texts with ";" between them
  VALUE_IDENTIFIER = 4,  // 16 bytes as 32 hexadecimal digits
};

// A parsed typed text. `text` is a malloc'ed copy of the payload, null before the first parse; the
// caller frees it.
struct RegValue {
  int type = VALUE_ANY;
  char* text = nullptr;
};

// Where the payload of a typed text begins, with the text's type number. Null, with `type`
// untouched, when it is malformed or of another type than `expected` (VALUE_ANY takes all).
[[nodiscard]] char const* payload_of(char const* text, int& type, tag_VALUE_TYPE expected);

// Parses a typed text into `out`, freeing the text that `out` held. False, with `out` untouched,
// when it has no such payload.
[[nodiscard]] bool parse_str(char const* text, RegValue& out, tag_VALUE_TYPE expected);

// Puts back what an INI line cannot hold: byte 1 stands for a carriage return, 2 for a line feed
// and 3 for "=".
[[nodiscard]] std::string trans_str(std::string text);

// Splits a list's payload at each ";" into `out`, dropping empty pieces.
void parse_multi_str(char const* text, std::vector<std::string>& out);

// The registry type that a type of typed text is stored as; string for one that is none.
[[nodiscard]] _NvRegDataType getRegType(tag_VALUE_TYPE type);
