#include "checksum_list.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>

#include "files.h"

namespace zeva {
namespace {

constexpr size_t kDigits = 32;
constexpr char kBlanks[] = " \t";
constexpr char kHexDigits[] = "0123456789abcdefABCDEF";

void drop_blanks(std::string_view& text) {
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(kBlanks)));
}

bool is_sum(std::string_view text) {
  return text.size() == kDigits && text.find_first_not_of(kHexDigits) == std::string_view::npos;
}

// The name of a line that begins with a backslash: \\ \n \r. Empty when it has other escapes.
std::string unescaped(std::string_view name) {
  std::string out;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] != '\\') {
      out += name[i];
      continue;
    }
    char const code = ++i < name.size() ? name[i] : '\0';
    if (code != 'n' && code != 'r' && code != '\\') return "";
    out += code == 'n' ? '\n' : code == 'r' ? '\r' : code;
  }
  return out;
}

// Understands the lines as "md5sum -c" does; what it would not take names no file.
class LineReader {
 public:
  std::string name_in(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    drop_blanks(line);
    bool const escaped = line.starts_with('\\');
    if (escaped) line.remove_prefix(1);
    std::string_view const name = line.starts_with("MD5") ? tagged(line.substr(3)) : plain(line);
    return escaped ? unescaped(name) : std::string(name);
  }

 private:
  // "MD5 (NAME) = SUM", each blank of which may be missing.
  static std::string_view tagged(std::string_view line) {
    if (line.starts_with(' ')) line.remove_prefix(1);
    size_t const end = line.rfind(')');
    if (!line.starts_with('(') || end == std::string_view::npos) return "";
    std::string_view sum = line.substr(end + 1);
    drop_blanks(sum);
    if (!sum.starts_with('=')) return "";
    sum.remove_prefix(1);
    drop_blanks(sum);
    return is_sum(sum) ? line.substr(1, end - 1) : "";
  }

  // "SUM  NAME", or "SUM *NAME" of a binary file. Where the first such line of the list has a
  // single blank, all have, and what stands behind it belongs to the name.
  std::string_view plain(std::string_view line) {
    if (!is_sum(line.substr(0, kDigits))) return "";
    line.remove_prefix(kDigits);
    if (line.size() < 2 || (line[0] != ' ' && line[0] != '\t')) return "";
    line.remove_prefix(1);
    bool const marked = line.size() > 1 && (line[0] == ' ' || line[0] == '*');
    if (!marked_.has_value()) marked_ = marked;
    if (*marked_ && !marked) return "";
    return line.substr(*marked_ ? 1 : 0);
  }

  std::optional<bool> marked_;
};

}  // namespace

ChecksumList read_checksum_list(std::string const& folder) {
  ChecksumList names;
  std::string text;
  if (read_file(folder + "/" + kChecksumFile, text) != 0) return names;
  LineReader lines;
  std::string_view rest = text;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    if (line.starts_with('#')) continue;
    std::string const name = lines.name_in(line);
    if (!name.empty()) names.insert(std::filesystem::path(name).lexically_normal());
  }
  return names;
}

}  // namespace zeva
