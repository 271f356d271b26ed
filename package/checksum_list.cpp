#include "checksum_list.h"

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

namespace zeva {

namespace {

constexpr size_t kSumDigits = 32;
constexpr char kHexDigits[] = "0123456789abcdefABCDEF";
// Holds the longest path, each byte escaped, and what stands in front of it.
constexpr size_t kLongestLine = 2 * PATH_MAX + 64;

bool is_blank(int c) {
  return c == ' ' || c == '\t';
}

// What stands behind the name of "MD5 (NAME) = SUM".
bool is_equals_sum(std::string_view text) {
  auto skip_blanks = [&] {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  };
  skip_blanks();
  if (!text.starts_with('=')) return false;
  text.remove_prefix(1);
  skip_blanks();
  return text.size() == kSumDigits && text.find_first_not_of(kHexDigits) == text.npos;
}

bool unescape(std::string& name) {
  std::string plain;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] == '\0') return false;
    if (name[i] == '\\') {
      char code = ++i < name.size() ? name[i] : '\0';
      if (code != 'n' && code != 'r' && code != '\\') return false;
      plain += code == 'n' ? '\n' : code == 'r' ? '\r' : '\\';
    } else {
      plain += name[i];
    }
  }
  name = plain;
  return true;
}

}  // namespace

bool ChecksumList::next(std::string& name) {
  while (next_line()) {
    if (!parse(name)) continue;
    name.resize(strlen(name.c_str()));  // a path ends at a NUL, the line may go on
    return true;
  }
  return false;
}

int ChecksumList::next_byte() {
  if (at_ == filled_) {
    ssize_t length;
    do {
      length = read(fd_, buffer_, sizeof buffer_);
    } while (length < 0 && errno == EINTR);
    if (length < 0) failed_ = true;
    if (length <= 0) return EOF;
    at_ = 0;
    filled_ = static_cast<size_t>(length);
  }
  return static_cast<unsigned char>(buffer_[at_++]);
}

bool ChecksumList::next_line() {
  line_.clear();
  cut_ = false;
  bracket_ = std::string::npos;
  int c = next_byte();
  if (c == EOF) return false;
  for (size_t length = 0; c != EOF && c != '\n'; c = next_byte()) {
    if (length == 0 && is_blank(c)) continue;
    if (c == ')') bracket_ = length;
    if (length++ < kLongestLine)
      line_ += static_cast<char>(c);
    else
      cut_ = true;
  }
  if (line_.ends_with('\r')) line_.pop_back();
  return true;
}

bool ChecksumList::parse(std::string& name) {
  bool escaped = line_.starts_with('\\');
  size_t at = escaped ? 1 : 0;
  bool tagged = line_.compare(at, 3, "MD5") == 0;
  bool parsed = tagged ? parse_tagged(at + 3, name) : parse_untagged(at, name);
  return parsed && (!escaped || unescape(name));
}

bool ChecksumList::parse_tagged(size_t at, std::string& name) {
  if (line_.compare(at, 1, " ") == 0) ++at;
  if (line_.compare(at, 1, "(") != 0 || bracket_ == std::string::npos || bracket_ <= at)
    return false;
  name = line_.substr(at + 1, bracket_ - at - 1);
  if (!cut_ && !is_equals_sum(std::string_view(line_).substr(bracket_ + 1))) return false;
  sum_ = cut_ ? "" : line_.substr(line_.size() - kSumDigits);
  return true;
}

bool ChecksumList::parse_untagged(size_t at, std::string& name) {
  size_t end = line_.find_first_not_of(kHexDigits, at);
  if (end == std::string::npos || end != at + kSumDigits || !is_blank(line_[end])) return false;
  sum_ = line_.substr(at, kSumDigits);
  name = line_.substr(end + 1);
  if (name.empty()) return false;
  bool marked = name.size() > 1 && (name[0] == ' ' || name[0] == '*');
  if (marked && gap_ != Gap::kBlank) {
    gap_ = Gap::kBlankAndMark;
    name.erase(0, 1);
    return true;
  }
  // Lists of one form hold no lines of the other.
  if (gap_ == Gap::kBlankAndMark) return false;
  gap_ = Gap::kBlank;
  return true;
}

}  // namespace zeva
