#include "namedsequence.h"

#include <gtest/gtest.h>

namespace {

// Counts how often the sequence looks at a name.
struct Counted {
  std::string name;
  std::string const& looked_at() const {
    ++looks;
    return name;
  }
  static inline size_t looks = 0;
};

// At every size, filling the sequence, finding each name and missing as many looks at few names.
TEST(NamedSequence, LooksAtAsManyNamesAsItIsAskedFor) {
  for (size_t size : {size_t{1000}, size_t{1000000}}) {
    zeva::NamedSequence<Counted, &Counted::looked_at> sequence;
    auto name = [](size_t i) { return "key" + std::to_string(i); };
    Counted::looks = 0;
    for (size_t i = 0; i < size; ++i) sequence.obtain(name(i));
    for (size_t i = 0; i < size; ++i)
      if (sequence.find(name(i)) != &sequence.items()[i]) FAIL() << i;
    for (size_t i = size; i < 2 * size; ++i)
      if (sequence.find(name(i)) != nullptr) FAIL() << i;
    EXPECT_LT(Counted::looks, 2 * size);
  }
}

}  // namespace
