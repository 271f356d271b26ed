// One named, typed value of the registry in memory, as the registry wrapper reads and writes it and
// as the run log shows it.
//
// An entry holds one field per kind of value, and its type says which of them is meaningful; the
// others keep what they last held.
#pragma once

#include "nvreg.h"

#include <stdint.h>

#include <string>
#include <vector>

class Nvregentry {
 public:
  // An empty entry of type 0 and value 0.
  Nvregentry() = default;
  // Store what they are given; the type is not checked against the kind of value.
  Nvregentry(std::string const& name, _NvRegDataType type, std::string const& value);
  Nvregentry(std::string const& name, _NvRegDataType type, unsigned long value);
  void setattributes(std::string const& name, _NvRegDataType type, unsigned long value);

  // The name, then setvalue(type, data, length).
  void setattributes(std::string const& name, _NvRegDataType type, unsigned char* data,
                     unsigned int length);

  // Each takes the types that fit its kind of value and ignores a call with another one: 0 for a
  // number (its low 32 bits), 1 for a text, 2 and 3 for a list. A binary value's list holds one
  // text a byte, two lower-case hexadecimal digits.
  void setvalue(_NvRegDataType type, unsigned long value);
  void setvalue(_NvRegDataType type, std::string const& value);
  void setvalue(_NvRegDataType type, std::vector<std::string> const& value);

  // Takes a buffer as the registry library delivers it.
  //   1  the text up to the first NUL; a last byte that is not NUL is overwritten with it, so an
  //      unterminated text loses its last character. Without any byte nothing changes.
  //   2  appends the bytes to those the entry holds; the multi-string field receives the same bytes
  //      split at NULs.
  //   3  the texts up to an empty one, whatever `length` says: the buffer must hold an empty one.
  //      A text is cut at 4095 bytes.
  // Other types change nothing.
  void setvalue(_NvRegDataType type, unsigned char* data, unsigned int length);

  void setname(std::string const& name) { name_ = name; }
  void settype(_NvRegDataType type) { type_ = type; }
  std::string const& getname() const { return name_; }
  _NvRegDataType gettype() const { return type_; }

  // 0, or -1 with the output untouched when the entry has another type: 0 for a number, 1 for a
  // text, 2 and 3 for a list.
  int getvalue(unsigned long& value) const;
  int getvalue(std::string& value) const;
  int getvalue(std::vector<std::string>& value) const;

  // Writes the value as the registry library takes it. `length` is the buffer's capacity on entry,
  // the bytes to store afterwards.
  //   1  the text and its NUL; a text that does not fit fills the buffer and has no terminator
  //   2  one byte for each of the list's texts, read as decimal digits, as far as they go. The
  //      buffer must hold them all, whatever `length` says. Always -1.
  //   3  the texts with their NULs and a closing NUL; from the first text that does not fit on, the
  //      buffer is left as it was and `length` unchanged. For an empty list `length` becomes 0.
  // 0; -1 for the other types, a null buffer and binary values.
  int getvalue(unsigned char* buffer, int& length) const;

  // The line that shows the entry in the run log, newline included.
  void getregentrystring(std::string const& indent, std::string& out) const;

  // Writes a line for debugging to standard output.
  void print(std::string const& indent) const;

  // Why the registry could not read the entry; handed over once, then empty.
  void seterror(std::string const& text) { error_text_ = text; }
  std::string geterror();

 private:
  int copy_text(unsigned char* buffer, int& length) const;
  int copy_binary(unsigned char* buffer, int& length) const;
  int copy_multi_string(unsigned char* buffer, int& length) const;

  std::string name_;
  _NvRegDataType type_ = NVREG_DWORD;
  std::string text_;
  std::vector<std::string> binary_;
  std::vector<std::string> multi_string_;
  uint32_t dword_ = 0;
  std::string error_text_;
};
