// A checksum list as `md5sum -c` takes it, read piece by piece: it needs the memory of a path,
// however long the list and its lines are.
//
// A line names its file as "SUM  NAME" or "SUM *NAME", or, where the first such line of the list
// has a single blank, as "SUM NAME"; or as "MD5 (NAME) = SUM". A backslash in front of it says that
// line breaks and backslashes of the name are escaped. Other lines are passed over.
#pragma once

#include <cstddef>
#include <string>

namespace zeva {

class ChecksumList {
 public:
  // Reads from where the descriptor stands, which stays the caller's.
  explicit ChecksumList(int fd) : fd_(fd) {}

  // The next name, as the file system takes it. False at the end, and when the list cannot be read
  // on. What is too long for a path may be cut, to a length that still is too long.
  [[nodiscard]] bool next(std::string& name);

  // The checksum of the name that next() gave last, in digits as they are written. Empty where the
  // line was cut.
  [[nodiscard]] std::string const& sum() const { return sum_; }

  [[nodiscard]] bool failed() const { return failed_; }

 private:
  enum class Gap { kUnknown, kBlank, kBlankAndMark };

  [[nodiscard]] int next_byte();
  [[nodiscard]] bool next_line();
  [[nodiscard]] bool parse_tagged(size_t at, std::string& name);
  [[nodiscard]] bool parse_untagged(size_t at, std::string& name);
  [[nodiscard]] bool parse(std::string& name);

  int fd_;
  bool failed_ = false;
  char buffer_[16 * 1024];
  size_t at_ = 0, filled_ = 0;
  std::string line_;    // without the blanks in front of it
  bool cut_ = false;    // the line goes on behind line_
  size_t bracket_ = 0;  // where the whole line has its last ")"
  std::string sum_;
  Gap gap_ = Gap::kUnknown;
};

}  // namespace zeva
