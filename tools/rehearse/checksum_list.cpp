#include "checksum_list.h"

#include <filesystem>
#include <string_view>

#include "files.h"

namespace zeva {
namespace {

constexpr size_t kDigits = 32;

// A line that begins with a backslash has its name escaped: \\ \n \r.
std::string unescaped(std::string_view name) {
  std::string out;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] != '\\' || i + 1 == name.size()) {
      out += name[i];
      continue;
    }
    char const code = name[++i];
    out += code == 'n' ? '\n' : code == 'r' ? '\r' : code;
  }
  return out;
}

// "DIGITS  NAME", with a "*" in place of the second blank for binary files, or "MD5 (NAME) =
// DIGITS".
std::string_view name_in(std::string_view line) {
  if (line.starts_with("MD5 (")) {
    size_t const end = line.rfind(") = ");
    return end == std::string_view::npos ? "" : line.substr(5, end - 5);
  }
  return line.size() > kDigits + 2 ? line.substr(kDigits + 2) : "";
}

}  // namespace

ChecksumList read_checksum_list(std::string const& folder) {
  ChecksumList names;
  std::string text;
  if (read_file(folder + "/" + kChecksumFile, text) != 0) return names;
  std::string_view rest = text;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    bool const escaped = line.starts_with('\\');
    if (escaped) line.remove_prefix(1);
    std::string_view const name = name_in(line);
    if (name.empty()) continue;
    names.insert(
        std::filesystem::path(escaped ? unescaped(name) : std::string(name)).lexically_normal());
  }
  return names;
}

}  // namespace zeva
