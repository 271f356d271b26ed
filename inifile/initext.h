// A text of the INI model. As read, it is a view of the file's text, which its NvConfigFile keeps,
// and takes no memory of its own. Texts that are set, and copies, own their bytes: what is copied
// out of a file outlives it, and changing one thing over and over takes no more memory than once.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

namespace zeva {

// At most 2 GiB: a longer text counts as one that there is no memory for.
class IniText {
 public:
  IniText() = default;

  // Owns a copy.
  template <std::convertible_to<std::string_view> Text>
  IniText(Text const& text) {
    append(text);
  }
  IniText(IniText const& other) : IniText(std::string_view(other)) {}

  // Moving leaves an empty text behind; a view stays a view.
  IniText(IniText&& other) noexcept { swap(other); }
  IniText& operator=(IniText other) noexcept {
    swap(other);
    return *this;
  }
  ~IniText() {
    if (owns()) delete[] data_;
  }

  // Of a text that is kept by someone else for as long as this one is in use.
  static IniText view_of(std::string_view text) {
    IniText view;
    view.data_ = const_cast<char*>(text.data());
    view.size_ = checked(text.size());
    view.tail_ = tail_of(text);
    return view;
  }

  operator std::string_view() const { return {data_, size()}; }
  [[nodiscard]] size_t size() const { return size_ & ~kOwned; }
  [[nodiscard]] bool empty() const { return size() == 0; }

  // In constant time for each byte of `more`, however often; that may be part of this text.
  void append(std::string_view more);

  friend bool operator==(IniText const& a, std::convertible_to<std::string_view> auto const& b) {
    std::string_view const other = b;
    return a.size() == other.size() && a.tail_ == tail_of(other) && std::string_view(a) == other;
  }

 private:
  static constexpr uint32_t kOwned = uint32_t{1} << 31;  // a bit that no size has

  static uint32_t checked(size_t size) {
    if (size >= kOwned) throw std::bad_alloc();
    return static_cast<uint32_t>(size);
  }

  static uint32_t tail_of(std::string_view text) {
    uint32_t tail = 0;
    if (text.size() >= sizeof tail)
      memcpy(&tail, text.data() + text.size() - sizeof tail, sizeof tail);
    else if (!text.empty())
      memcpy(&tail, text.data(), text.size());
    return tail;
  }

  [[nodiscard]] bool owns() const { return (size_ & kOwned) != 0; }
  void swap(IniText& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(tail_, other.tail_);
  }

  char* data_ = nullptr;  // as large as the power of two that is not below the size, if owned
  uint32_t size_ = 0;     // and whether it is owned
  uint32_t tail_ = 0;     // the last bytes, by which names of one section are mostly told apart:
                          // what is not fetched for comparing is what makes lookups quick
};

}  // namespace zeva
