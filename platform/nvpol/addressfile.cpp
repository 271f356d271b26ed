#include "addressfile.h"

#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string_view>

namespace zeva {
namespace {

constexpr off_t kMaxFileSize = off_t{64} * 1024 * 1024;

std::string_view trimmed(std::string_view field) {
  constexpr std::string_view kBlanks = " \t\r";
  size_t const begin = std::min(field.find_first_not_of(kBlanks), field.size());
  return field.substr(begin, field.find_last_not_of(kBlanks) + 1 - begin);
}

std::string_view unquoted(std::string_view field) {
  bool const quoted = field.size() >= 2 && field.front() == '"' && field.back() == '"';
  return quoted ? trimmed(field.substr(1, field.size() - 2)) : field;
}

// An address that the store can hold.
bool is_address(std::string_view text) {
  size_t const at = text.find('@');
  bool const printable = std::none_of(text.begin(), text.end(), [](char c) {
    return c == '"' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
  });
  return printable && at != std::string_view::npos && at > 0 && at + 1 < text.size() &&
         text.size() < NVREG_MAX_VALUE;
}

bool parse(std::string_view text, std::vector<std::string>& addresses) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  while (!text.empty()) {
    size_t const end = std::min(text.find_first_of(",\n"), text.size());
    std::string_view const field = unquoted(trimmed(text.substr(0, end)));
    if (is_address(field)) {
      addresses.emplace_back(field);
    } else if (!field.empty()) {
      return false;
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return true;
}

}  // namespace

int32_t read_address_file(char const* file, std::vector<std::string>& addresses) {
  struct stat about;
  if (stat(file, &about) != 0 || !S_ISREG(about.st_mode)) return NVREG_NOT_FOUND;
  if (about.st_size > kMaxFileSize) return NVPOL_BAD_FORMAT;
  std::ifstream stream(file, std::ios::binary);
  std::string const text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream.is_open() || stream.bad()) return NVREG_NOT_FOUND;

  std::vector<std::string> found;
  if (!parse(text, found)) return NVPOL_BAD_FORMAT;
  addresses.insert(addresses.end(), found.begin(), found.end());
  return NVREG_OK;
}

}  // namespace zeva
