// What the tests of the policy objects share: a store of their own, the text of an expected error
// record, and the plain model that random walks are held against.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "failing_calls.h"
#include "nvporegistry.h"
#include "openkey.h"
#include "policyhive.h"
#include "scratch_home.h"

using Texts = std::vector<std::string>;

inline std::string const kPolicy = "registry\\test";  // a key without objects to begin with

constexpr int32_t kGone = NVREG_NOT_FOUND;

struct RunningHome : ScratchHome {
  RunningHome() { start(); }
};

class PolicyStoreTest : public testing::Test {
 protected:
  // Kills the server, lets go of what was open and starts anew: what was answered must be there.
  void restart(std::function<void()> const& let_go) {
    home_.kill();
    let_go();
    home_.start();
  }

  RunningHome home_;
  NvPoRegistry registry_{home_.address()};
};

// The text that a failure leaves in an error record.
template <typename... Arguments>
std::string message(Arguments const&... arguments) {
  struct Record : ErrorRecord {
    Record() { initResBundle(); }
  } record;
  if constexpr (sizeof...(arguments) == 1) {
    record.seterror(arguments...);
  } else {
    record.seterrorname(arguments...);
  }
  return record.geterror();
}

// ... of the usual failures.
inline std::string empty(char const* what) {
  return message("REG_EMPTY", what);
}
inline std::string fail(char const* call, std::string const& name, int32_t status) {
  return message("REG_FAIL", call, name, status);
}
inline std::string fail2(char const* call, int32_t status) {
  return message("REG_FAIL2", call, status);
}

// An operation that must fail and leave exactly these texts, while a library call is made to fail.
struct Failure {
  std::function<bool()> fails;
  std::string record;
  std::string failing_call = {};
};

inline bool failed(long result) {
  return result < 0;
}
inline bool failed(_NvPolComHandle* handle) {
  return handle == nullptr;
}
#define DOING(call) [&] { return failed(call); }

template <typename Wrapper>
void expect_failures(Wrapper& wrapper, std::span<Failure const> failures) {
  EXPECT_EQ(wrapper.geterror(), "");
  for (Failure const& failure : failures) {
    ASSERT_NE(failure.record, "");
    Failing const failing(failure.failing_call);
    EXPECT_TRUE(failure.fails()) << failure.record;
    EXPECT_EQ(wrapper.geterror(), failure.record);
    EXPECT_EQ(wrapper.geterror(), "");
  }
}

// Named things in the order of their creation.
template <typename T>
struct Ordered : std::vector<std::pair<std::string, T>> {
  T* find(std::string const& name) {
    for (auto& [key, value] : *this)
      if (key == name) return &value;
    return nullptr;
  }
  // false for a name that is taken or that no object may bear.
  bool add(std::string const& name, T value) {
    if (name.empty() || name.size() > 127 || name.find('\\') != name.npos || find(name))
      return false;
    this->emplace_back(name, std::move(value));
    return true;
  }
  bool remove(std::string const& name) {
    return std::erase_if(*this, [&](auto const& item) { return item.first == name; }) > 0;
  }
  Texts names() const {
    Texts found;
    for (auto const& [name, value] : *this) found.push_back(name);
    return found;
  }
};

// The dice of a random walk. The seed is printed with every failure; it can be given in
// POLICY_SEED to walk the same way again.
class Dice {
 public:
  Dice()
      : seed_(getenv("POLICY_SEED") ? std::stoul(getenv("POLICY_SEED")) : std::random_device{}()) {}
  unsigned seed() const { return static_cast<unsigned>(seed_); }

  size_t below(size_t limit) {
    return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_);
  }
  int32_t number() { return static_cast<int32_t>(engine_()); }

  // Mostly names that meet again, some that are refused.
  std::string name() {
    Texts const odd = {"", "a\\b", std::string(127, 'n'), std::string(128, 'n'), "x;y", "\xff %s"};
    return below(8) == 0 ? odd[below(odd.size())] : "n" + std::to_string(below(5));
  }
  // Texts around the sizes of a record's fields.
  std::string text() {
    size_t const lengths[] = {1, 7, 255, 256, 257, 511, 512, 600};
    return std::string(lengths[below(std::size(lengths))], static_cast<char>('a' + below(26)));
  }

 private:
  unsigned long seed_;
  std::mt19937 engine_{static_cast<std::mt19937::result_type>(seed_)};
};
