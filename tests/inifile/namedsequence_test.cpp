#include "namedsequence.h"

#include "nvkeypair.h"

#include <gtest/gtest.h>

#include <random>

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

TEST(NamedSequence, AgreesWithAPlainListOnARandomWalk) {
  std::mt19937 random(20240608);
  auto below = [&](size_t bound) { return random() % bound; };
  // Names enough for both sides of the length where an index begins.
  auto name = [&] { return "k" + std::to_string(below(below(2) == 0 ? 4 : 60)); };
  using Sequence = zeva::NamedSequence<Nvkeypair, &Nvkeypair::name>;
  Sequence sequence;
  std::vector<Nvkeypair> model;
  auto known = [&](std::string const& wanted) {
    return std::ranges::find(model, wanted, &Nvkeypair::name);
  };
  auto put = [&](Nvkeypair const& pair) {
    auto const old = known(pair.name);
    old == model.end() ? model.push_back(pair) : void(*old = pair);
  };
  for (int step = 0; step < 20000; ++step) {
    Nvkeypair const pair{name(), std::to_string(step)};
    std::vector<Nvkeypair> list;  // with names twice
    for (size_t i = below(40); i > 0; --i) list.push_back({name(), pair.value + std::to_string(i)});
    switch (below(24)) {
      case 0:
        sequence.assign(model = list);
        break;
      case 1:
        if (below(2) == 0) sequence.clear(), model.clear();
        sequence.merge(list, [](Nvkeypair& old, Nvkeypair item) { old = item; });
        for (Nvkeypair const& item : list) put(item);
        break;
      case 2:  // a copy, independent of its origin
        sequence = Sequence(std::exchange(sequence, {}));
        Sequence(sequence).obtain(pair.name).value = "elsewhere";
        break;
      default:
        sequence.obtain(pair.name).value = pair.value;
        put(pair);
    }
    ASSERT_EQ(sequence.items(), model) << "step " << step;
    std::string const asked = name();
    Nvkeypair const* const found = sequence.find(asked);
    auto const expected = known(asked);
    ASSERT_EQ(found != nullptr, expected != model.end()) << "step " << step;
    if (found != nullptr) {
      ASSERT_EQ(found - sequence.items().data(), expected - model.begin());
    }
  }
}

}  // namespace
