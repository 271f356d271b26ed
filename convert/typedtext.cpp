#include "typedtext.h"

#include <stdlib.h>
#include <string.h>

#include <charconv>

char const* payload_of(char const* text, int& type, tag_VALUE_TYPE expected) {
  char const* colon = text + strspn(text, "0123456789");
  int number = 0;
  if (*colon != ':' || std::from_chars(text, colon, number).ec != std::errc()) return nullptr;
  if (number < VALUE_NUMBER || number > VALUE_IDENTIFIER) return nullptr;
  if (expected != VALUE_ANY && number != expected) return nullptr;
  type = number;
  return colon + 1;
}

bool parse_str(char const* text, RegValue& out, tag_VALUE_TYPE expected) {
  int type = VALUE_ANY;
  char const* const payload = payload_of(text, type, expected);
  char* const copy = payload != nullptr ? strdup(payload) : nullptr;
  if (copy == nullptr) return false;
  free(out.text);
  out.text = copy;
  out.type = type;
  return true;
}

std::string trans_str(std::string text) {
  for (char& c : text) {
    if (c == '\x01') c = '\r';
    if (c == '\x02') c = '\n';
    if (c == '\x03') c = '=';
  }
  return text;
}

void parse_multi_str(char const* text, std::vector<std::string>& out) {
  out.clear();
  while (*text != '\0') {
    size_t length = strcspn(text, ";");
    if (length > 0) out.emplace_back(text, length);
    text += length;
    text += strspn(text, ";");
  }
}

_NvRegDataType getRegType(tag_VALUE_TYPE type) {
  switch (type) {
    case VALUE_NUMBER:
      return NVREG_DWORD;
    case VALUE_LIST:
      return NVREG_MULTISTRING;
    case VALUE_IDENTIFIER:
      return NVREG_BINARY;
    default:
      return NVREG_STRING;
  }
}
