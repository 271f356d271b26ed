// Text composed in a buffer of its own, for what must work after the watchdog's jump or inside a
// signal handler, where neither the heap nor stdio can be trusted.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstring>

namespace zeva {

// Holds at most `Size` - 1 bytes. What does not fit is cut, and fits() then says so: a cut command
// must not be run and a cut path must not be opened. The usual size takes a command with its paths,
// and a line of the run log takes such a command whole.
template <size_t Size = 1024>
class FixedText {
 public:
  FixedText& add(char const* text) {
    add(text, strlen(text));
    return *this;
  }

  FixedText& add(int number) {
    char digits[16];
    auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    add(digits, static_cast<size_t>(end - digits));
    return *this;
  }

  // Adds text for a place between single quotes of a shell command.
  FixedText& add_quoted(char const* text) {
    for (; *text != '\0'; ++text) {
      if (*text == '\'') {
        add("'\\''");
      } else {
        add(text, 1);
      }
    }
    return *this;
  }

  // Adds text as a part of an unquoted shell word: as it is when the shell takes it so, else
  // quoted.
  FixedText& add_word(char const* text) {
    constexpr char kOrdinary[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-+,:@%";
    if (text[strspn(text, kOrdinary)] == '\0') return add(text);
    return add("'").add_quoted(text).add("'");
  }

  bool fits() const { return fits_; }
  char const* c_str() const { return text_; }
  size_t length() const { return length_; }

 private:
  void add(char const* text, size_t length) {
    size_t room = Size - 1 - length_;
    if (length > room) {
      length = room;
      fits_ = false;
    }
    memcpy(text_ + length_, text, length);
    length_ += length;
    text_[length_] = '\0';
  }

  char text_[Size] = {};
  size_t length_ = 0;
  bool fits_ = true;
};

}  // namespace zeva
