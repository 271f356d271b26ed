#include "addressfile.h"

#include "files.h"

#include <errno.h>
#include <fcntl.h>

#include <algorithm>
#include <string_view>

namespace zeva {
namespace {

constexpr uint64_t kLargestList = uint64_t{64} << 20;  // a million addresses, and more

std::string_view stripped(std::string_view field) {
  constexpr std::string_view kBlanks = " \t\r";
  size_t const begin = std::min(field.find_first_not_of(kBlanks), field.size());
  return field.substr(begin, field.find_last_not_of(kBlanks) + 1 - begin);
}

std::string_view unquoted(std::string_view field) {
  bool const quoted = field.size() >= 2 && field.front() == '"' && field.back() == '"';
  return quoted ? stripped(field.substr(1, field.size() - 2)) : field;
}

// An address alone, without a name or a second one beside it, that the store can hold.
bool is_address(std::string_view text) {
  constexpr std::string_view kRefused = " \"<>\x7f";
  size_t const at = text.find('@');
  bool const plain = text.find_first_of(kRefused) == text.npos &&
                     std::none_of(text.begin(), text.end(),
                                  [](char c) { return static_cast<unsigned char>(c) < 0x20; });
  return plain && at != text.npos && at == text.rfind('@') && at > 0 && at + 1 < text.size() &&
         text.size() < NVREG_MAX_VALUE;
}

[[nodiscard]] int32_t parse(std::string_view text, std::vector<std::string>& addresses) {
  constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  for (uint32_t line = 1; !text.empty();) {
    size_t const end = std::min(text.find_first_of(",;\n"), text.size());
    std::string_view const field = unquoted(stripped(text.substr(0, end)));
    if (is_address(field)) {
      addresses.emplace_back(field);
    } else if (!field.empty()) {
      return NVPOL_BAD_LINE(line);
    }
    if (end < text.size() && text[end] == '\n') ++line;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return NVREG_OK;
}

}  // namespace

int32_t read_address_file(char const* file, std::vector<std::string>& addresses) {
  Descriptor const list(open(file, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  std::string text;
  int const error = read_regular(list.get(), text, kLargestList);
  if (error != 0) return error == EFBIG ? NVPOL_BAD_FORMAT : NVREG_NOT_FOUND;

  std::vector<std::string> found;
  int32_t const status = parse(text, found);
  if (status == NVREG_OK) addresses.insert(addresses.end(), found.begin(), found.end());
  return status;
}

}  // namespace zeva
