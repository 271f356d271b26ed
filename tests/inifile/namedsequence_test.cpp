#include "namedsequence.h"

#include "nvkeypair.h"
#include "ordered.h"

#include <gtest/gtest.h>

#include <algorithm>

extern size_t failing_allocation;

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
    EXPECT_LT(Counted::looks, 3 * size);
  }
}

TEST(NameHash, IsKeyed) {
  EXPECT_NE(zeva::name_hash("name"), 0x85b74b67u) << "the hash under a key of zeros";
}

TEST(NamedSequence, FindsTheFirstOfANameWithAndWithoutAnIndex) {
  using Sequence = zeva::NamedSequence<Nvkeypair, &Nvkeypair::name>;
  for (size_t size : {1u, 15u, 16u, 17u, 33u, 1000u}) {
    SCOPED_TRACE(size);
    std::vector<Nvkeypair> list;  // the first third stands there twice
    for (size_t i = 0; i < size; ++i)
      list.push_back({"k" + std::to_string(i % (size - size / 3)), std::to_string(i)});
    Sequence sequence;
    sequence.assign(list);
    Sequence const copy = sequence;
    Nvkeypair later[] = {{"k0", "merged"}, {"new", "1"}, {"new", "2"}};
    sequence.merge(later, [](Nvkeypair& old, Nvkeypair item) { old = item; });
    sequence.obtain("newer").value = zeva::IniText(sequence.obtain("k0").value);
    list[0].value = "merged";
    list.insert(list.end(), {{"new", "2"}, {"newer", "merged"}});
    EXPECT_EQ(sequence.items(), list);
    for (Nvkeypair const& pair : list)
      EXPECT_EQ(sequence.find(pair.name) - sequence.items().data(),
                std::ranges::find(list, pair.name, &Nvkeypair::name) - list.begin());
    EXPECT_EQ(copy.find("new"), nullptr);
    EXPECT_EQ(copy.find("k0"), &copy.items()[0]);
  }
}

// The store's sequence, tried here because this program can be short of memory.
TEST(Ordered, HoldsEachNameOnceWhereverMemoryHasRunOut) {
  for (size_t failing = 1; failing < 120; ++failing) {
    zeva::Ordered<Counted> items;
    for (size_t const allocation : {failing, size_t{0}}) {
      failing_allocation = allocation;
      try {
        for (char c = 'a'; c < 'u'; ++c) items.at(std::string(50, c));
      } catch (std::bad_alloc const&) {
      }
    }
    EXPECT_EQ(items.size(), 20u) << failing;
  }
}

}  // namespace
