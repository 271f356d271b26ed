#include "typedtext.h"

#include <stdlib.h>
#include <string.h>

#include <charconv>

bool parse_str(char const* text, RegValue& out, tag_VALUE_TYPE expected) {
  char const* colon = text + strspn(text, "0123456789");
  int type = 0;
  if (*colon != ':' || std::from_chars(text, colon, type).ec != std::errc()) return false;
  if (type < VALUE_NUMBER || type > VALUE_IDENTIFIER) return false;
  if (expected != VALUE_ANY && type != expected) return false;
  char* payload = strdup(colon + 1);
  if (payload == nullptr) return false;
  free(out.text);
  out.text = payload;
  out.type = type;
  return true;
}

std::string trans_str(std::string const& text) {
  std::string plain = text;
  for (char& c : plain) {
    if (c == '\x01') c = '\r';
    if (c == '\x02') c = '\n';
    if (c == '\x03') c = '=';
  }
  return plain;
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
