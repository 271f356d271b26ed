// Identifiers: 16 bytes, 32 hexadecimal digits in the export; and names drawn from the clock.
#pragma once

#include <string>

// Reads an identifier into sixteen bytes: 32 digits, or as guid_to_str writes it with blanks for
// leading zeros. Any other text is read as sixteen fields of at most two hexadecimal digits, blanks
// before a field skipped, up to the first that is none; the bytes from there on stay.
void str_to_guid(std::string const* text, char* bytes);

// Formats sixteen bytes: a byte below 0x10 has a blank for its first digit, one of 0x80 and more is
// written with eight digits ("ffffff80"), and the text ends at 39 characters.
void guid_to_str(char const* bytes, std::string* text);

// A name made of the time in seconds, never the same twice in a row.
void gen_iname(std::string& out);
