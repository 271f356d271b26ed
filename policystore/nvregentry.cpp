#include "nvregentry.h"

#include "console.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <utility>

namespace {

constexpr size_t kLongestElement = 4095;
constexpr size_t kNoLimit = SIZE_MAX;

// The texts of a multi-string buffer, up to an empty one or to the limit.
std::vector<std::string> split_texts(unsigned char const* data, size_t limit) {
  std::vector<std::string> texts;
  size_t at = 0;
  while (at < limit && data[at] != '\0') {
    size_t end = at;
    while (end < limit && data[end] != '\0') ++end;
    texts.emplace_back(reinterpret_cast<char const*>(data) + at,
                       std::min(end - at, kLongestElement));
    at = end + 1;
  }
  return texts;
}

std::string joined(std::vector<std::string> const& texts, char const* after_each) {
  std::string line;
  for (std::string const& text : texts) line += text + after_each;
  return line;
}

}  // namespace

Nvregentry::Nvregentry(std::string const& name, _NvRegDataType type, std::string const& value)
    : name_(name), type_(type), text_(value) {}

Nvregentry::Nvregentry(std::string const& name, _NvRegDataType type, unsigned long value)
    : name_(name), type_(type), dword_(static_cast<uint32_t>(value)) {}

void Nvregentry::setattributes(std::string const& name, _NvRegDataType type, unsigned long value) {
  name_ = name;
  type_ = type;
  dword_ = static_cast<uint32_t>(value);
}

void Nvregentry::setattributes(std::string const& name, _NvRegDataType type, unsigned char* data,
                               unsigned int length) {
  name_ = name;
  setvalue(type, data, length);
}

void Nvregentry::setvalue(_NvRegDataType type, unsigned long value) {
  if (type != NVREG_DWORD) return;
  dword_ = static_cast<uint32_t>(value);
  type_ = type;
}

void Nvregentry::setvalue(_NvRegDataType type, std::string const& value) {
  if (type != NVREG_STRING) return;
  text_ = value;
  type_ = type;
}

void Nvregentry::setvalue(_NvRegDataType type, std::vector<std::string> const& value) {
  if (type != NVREG_MULTISTRING && type != NVREG_BINARY) return;
  (type == NVREG_BINARY ? binary_ : multi_string_) = value;
  type_ = type;
}

void Nvregentry::setvalue(_NvRegDataType type, unsigned char* data, unsigned int length) {
  switch (type) {
    case NVREG_STRING:
      if (length == 0) return;
      data[length - 1] = '\0';
      text_ = reinterpret_cast<char const*>(data);
      break;
    case NVREG_BINARY:
      for (unsigned i = 0; i < length; ++i) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", data[i]);
        binary_.emplace_back(digits);
      }
      multi_string_ = split_texts(data, length);
      break;
    case NVREG_MULTISTRING:
      multi_string_ = split_texts(data, kNoLimit);
      break;
    default:
      return;
  }
  type_ = type;
}

int Nvregentry::getvalue(unsigned long& value) const {
  if (type_ != NVREG_DWORD) return -1;
  value = dword_;
  return 0;
}

int Nvregentry::getvalue(std::string& value) const {
  if (type_ != NVREG_STRING) return -1;
  value = text_;
  return 0;
}

int Nvregentry::getvalue(std::vector<std::string>& value) const {
  if (type_ != NVREG_MULTISTRING && type_ != NVREG_BINARY) return -1;
  value = type_ == NVREG_BINARY ? binary_ : multi_string_;
  return 0;
}

int Nvregentry::getvalue(unsigned char* buffer, int& length) const {
  if (buffer == nullptr) return -1;
  switch (type_) {
    case NVREG_STRING:
      return copy_text(buffer, length);
    case NVREG_BINARY:
      return copy_binary(buffer, length);
    case NVREG_MULTISTRING:
      return copy_multi_string(buffer, length);
    default:
      return -1;
  }
}

int Nvregentry::copy_text(unsigned char* buffer, int& length) const {
  auto capacity = static_cast<size_t>(std::max(length, 0));
  if (capacity > text_.size()) length = static_cast<int>(text_.size() + 1);
  strncpy(reinterpret_cast<char*>(buffer), text_.c_str(), static_cast<size_t>(std::max(length, 0)));
  return 0;
}

int Nvregentry::copy_binary(unsigned char* buffer, int& length) const {
  // Decimal, although the list is hexadecimal; identifiers are therefore written past this class.
  for (std::string const& byte : binary_)
    *buffer++ = static_cast<unsigned char>(strtol(byte.c_str(), nullptr, 10));
  length = static_cast<int>(binary_.size());
  return -1;
}

int Nvregentry::copy_multi_string(unsigned char* buffer, int& length) const {
  auto capacity = static_cast<size_t>(std::max(length, 0));
  size_t total = 0;
  for (std::string const& text : multi_string_) {
    if (text.size() + 1 >= capacity - total) return 0;
    memcpy(buffer + total, text.c_str(), text.size() + 1);
    total += text.size() + 1;
  }
  if (total > 0) buffer[total++] = '\0';
  length = static_cast<int>(total);
  return 0;
}

void Nvregentry::getregentrystring(std::string const& indent, std::string& out) const {
  out = indent + "    ";
  switch (type_) {
    case NVREG_DWORD:
      out += name_ + "=DW " + std::to_string(dword_);
      break;
    case NVREG_STRING:
      out += name_ + "=SZ " + text_;
      break;
    case NVREG_BINARY:
      out += name_ + "=BI " + joined(binary_, " ");
      break;
    case NVREG_MULTISTRING:
      out += name_ + "=MS " + joined(multi_string_, ", ");
      break;
    default:
      out += "Unknow type";
  }
  out += "\n";
}

void Nvregentry::print(std::string const& indent) const {
  std::string line = indent + "    ";
  switch (type_) {
    case NVREG_DWORD:
      line += "dword,   " + name_ + "=" + std::to_string(dword_);
      break;
    case NVREG_STRING:
      line += "string,   " + name_ + "=" + text_;
      break;
    case NVREG_BINARY:
      line += "binary,  " + name_ + "=" + joined(binary_, " ");
      break;
    case NVREG_MULTISTRING:
      line += "multisize,  " + name_ + "=" + joined(multi_string_, ";  ");
      break;
    default:
      line = "Unknow type";
  }
  zeva::print_line(line);
}

std::string Nvregentry::geterror() {
  return std::exchange(error_text_, {});
}
