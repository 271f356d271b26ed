#include "list_walk.h"

#include "steps.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace zeva {

namespace {

constexpr int kMostMissing = 100;

// Only one spelling of an item's number is ever asked for.
void hold(std::string_view name, std::string_view stem, int first, int count,
          std::vector<int>& held) {
  if (!name.starts_with(stem)) return;
  name.remove_prefix(stem.size());
  int number = 0;
  auto const parsed = std::from_chars(name.data(), name.data() + name.size(), number);
  if (parsed.ec == std::errc() && first <= number && number - first < count &&
      name == std::to_string(number)) {
    held.push_back(number);
  }
}

}  // namespace

std::vector<int> held_sections(NvConfigFile const& file, std::string_view item, int count) {
  std::string_view const stem = stem_of(item);
  std::vector<int> held;
  for (Nvsectionpair const& section : file.sections())
    hold(section.getname(), stem, 1, count, held);
  std::ranges::sort(held);
  return held;
}

std::vector<int> held_keys(NvConfigFile const& file, std::string const& section,
                           std::string_view item, int count, int first) {
  std::string_view const stem = stem_of(item);
  std::vector<int> held;
  if (Nvinielement const* const found = file.find(section)) {
    for (Nvkeypair const& pair : found->getattributes()) hold(pair.name, stem, first, count, held);
  }
  std::ranges::sort(held);
  return held;
}

ListWalk ListWalk::over_sections(NvConfigFile const& file, std::string_view item, int count,
                                 std::string const& list, int code) {
  int const first = 1;
  return ListWalk(file, item, count, list, code, first, held_sections(file, item, count));
}

ListWalk ListWalk::over_keys(NvConfigFile const& file, std::string const& section,
                             std::string_view item, int count, std::string const& list, int code,
                             int first) {
  return ListWalk(file, item, count, list, code, first,
                  held_keys(file, section, item, count, first));
}

ListWalk::ListWalk(NvConfigFile const& file, std::string_view item, int count,
                   std::string const& list, int code, int first, std::vector<int> held)
    : file_(file.getname()),
      item_(item),
      list_(list),
      code_(code),
      number_(first - 1),
      end_(count > 0 ? number_ + 1 + count : first),
      held_(std::move(held)) {}

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
