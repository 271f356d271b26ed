#include "initext.h"

#include <bit>

void zeva::IniText::append(std::string_view more) {
  if (more.empty()) return;
  size_t const before = size();
  uint32_t const after = checked(before + more.size());
  if (!owns() || after > std::bit_ceil(before)) {
    IniText larger;
    larger.data_ = new char[std::bit_ceil(size_t{after})];
    larger.size_ = kOwned;
    std::copy_n(data_, before, larger.data_);
    std::copy_n(more.data(), more.size(), larger.data_ + before);
    swap(larger);
  } else {
    std::copy_n(more.data(), more.size(), data_ + before);
  }
  size_ = after | kOwned;
  tail_ = tail_of(*this);
}
