#include "list_walk.h"

#include "steps.h"

#include <algorithm>
#include <charconv>

namespace zeva {

namespace {
constexpr int kMostMissing = 100;
}

ListWalk ListWalk::over_sections(NvConfigFile const& file, std::string const& stem, int count,
                                 std::string const& list, int code) {
  ListWalk walk(file, stem, count, list, code);
  for (Nvsectionpair const& section : file.sections()) walk.hold(section.getname());
  std::ranges::sort(walk.held_);
  return walk;
}

ListWalk ListWalk::over_keys(NvConfigFile const& file, std::string const& section,
                             std::string const& stem, int count, std::string const& list, int code,
                             int first) {
  ListWalk walk(file, stem, count, list, code, first);
  if (Nvinielement const* const found = file.find(section)) {
    for (Nvkeypair const& pair : found->getattributes()) walk.hold(pair.name);
  }
  std::ranges::sort(walk.held_);
  return walk;
}

ListWalk::ListWalk(NvConfigFile const& file, std::string const& stem, int count,
                   std::string const& list, int code, int first)
    : file_(file.getname()),
      stem_(stem),
      list_(list),
      code_(code),
      first_(first),
      end_(count > 0 ? first_ + count : first_),
      number_(first_ - 1) {}

// Takes note of an item by the only spelling of its number that is asked for.
void ListWalk::hold(std::string_view name) {
  if (!name.starts_with(stem_)) return;
  name.remove_prefix(stem_.size());
  int number = 0;
  auto const parsed = std::from_chars(name.data(), name.data() + name.size(), number);
  if (parsed.ec == std::errc() && first_ <= number && number < end_ &&
      name == std::to_string(number)) {
    held_.push_back(number);
  }
}

bool ListWalk::next() {
  ++number_;
  bool const more = held_before_ < held_.size();
  if (missing_ == kMostMissing && !more) {
    log_error(code_, std::to_string(kMostMissing) + " " + list_ + " in a row are missing from " +
                         file_ + ", the rest is left out.");
    return false;
  }
  if (missing_ == kMostMissing && number_ < held_[held_before_]) {
    long long const gap = kMostMissing + held_[held_before_] - number_;
    number_ = held_[held_before_];
    log_error(code_, std::to_string(gap) + " " + list_ + " in a row are missing from " + file_ +
                         ", the next is " + name() + ".");
  }
  if (number_ == end_) return false;
  bool const is_held = more && number_ == held_[held_before_];
  held_before_ += is_held;
  missing_ = is_held ? 0 : missing_ + 1;
  return true;
}

}  // namespace zeva
