// Changes of a store as lines for a person: + for what is gained, - for what is lost, ~ for a key
// that changes.
#pragma once

#include "changes.h"

#include <iosfwd>
#include <string>

namespace zeva {

inline constexpr char kBold[] = "\033[1m";
inline constexpr char kRed[] = "\033[31m";
inline constexpr char kGreen[] = "\033[32m";
inline constexpr char kYellow[] = "\033[33m";
inline constexpr char kNoColour[] = "";

class ChangeText {
 public:
  ChangeText(std::ostream& out, bool in_colour) : out_(out), in_colour_(in_colour) {}

  // Key and values; no line holds anything but visible characters.
  void write(KeyChange const& change);
  void write_key(KeyChange const& change);

  // A line, in a colour as far as there are any.
  void put(char const* colour, std::string const& line);

 private:
  std::ostream& out_;
  bool const in_colour_;
};

}  // namespace zeva
