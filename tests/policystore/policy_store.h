// What the tests of the policy store share: a store of their own, the text of an expected error
// record, and what random walks are made of.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
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

using Handle = _NvPolComHandle*;
using Texts = std::vector<std::string>;

inline std::string const kPolicy = "registry\\test";  // a key without objects to begin with

constexpr int32_t kGone = NVREG_NOT_FOUND;

struct RunningHome : ScratchHome {
  RunningHome() { start(); }
};

class PolicyStoreTest : public testing::Test {
 protected:
  // A key that is not given back keeps its connection open.
  ~PolicyStoreTest() override {
    registry_.closeregfile();
    EXPECT_EQ(open_files(), files_before_) << "a key was left open";
  }

  // Stores a text.
  void set(std::string const& path, std::string const& name, std::string const& text) {
    EXPECT_EQ(registry_.nvsetentry(path, {name, NVREG_STRING, text}), 0) << registry_.geterror();
  }

  // A key with all that is below it, as the registry prints it.
  std::string dump(std::string const& path) {
    OpenKey key(registry_, path);
    testing::internal::CaptureStdout();
    EXPECT_EQ(registry_.enumKeys(key.get(), "test"), 0);
    return testing::internal::GetCapturedStdout();
  }

  static long open_files() {
    std::filesystem::directory_iterator const files("/proc/self/fd");
    return std::distance(begin(files), end(files));
  }

  RunningHome home_;
  long files_before_ = open_files();
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

// Removes the first equal item; false when there is none.
template <typename T>
bool remove_first(std::vector<T>& items, T const& item) {
  auto const found = std::find(items.begin(), items.end(), item);
  if (found == items.end()) return false;
  items.erase(found);
  return true;
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
};

// The dice of a random walk. The seed is printed with every failure; it can be given in
// POLICY_SEED to walk the same way again.
class Dice {
 public:
  // Mostly names that meet again, some that are refused.
  static inline Texts const kNames = {
      "n0",  "n1",     "n2", "n3", "n4", "", "a\\b", std::string(127, 'n'), std::string(128, 'n'),
      "x;y", "\xff %s"};

  unsigned long seed() const { return seed_; }
  size_t below(size_t limit) {
    return std::uniform_int_distribution<size_t>(0, limit - 1)(engine_);
  }
  int32_t number() { return static_cast<int32_t>(engine_()); }
  std::string name() { return kNames[below(below(8) == 0 ? kNames.size() : 5)]; }
  // Texts around the sizes of a record's fields.
  std::string text() {
    size_t const lengths[] = {1, 7, 255, 256, 257, 511, 512, 600};
    return std::string(lengths[below(std::size(lengths))], static_cast<char>('a' + below(26)));
  }

 private:
  unsigned long seed_ =
      getenv("POLICY_SEED") ? std::stoul(getenv("POLICY_SEED")) : std::random_device{}();
  std::mt19937 engine_{static_cast<std::mt19937::result_type>(seed_)};
};

// A random walk: operations on a hive and on a plain model of it, which must agree throughout.
template <typename Hive>
class HiveWalk : public PolicyStoreTest {
 protected:
  // Does one thing to hive and model; true when both agree on whether it could be done.
  virtual bool step() = 0;
  // Whether all that the hive tells is what the model holds.
  virtual bool agrees() = 0;

  // The hive is opened anew at times, and so is a server that was killed: what it has answered must
  // be there.
  void walk() {
    SCOPED_TRACE("POLICY_SEED=" + std::to_string(dice_.seed()));
    for (int i = 0; i < 4000; ++i) {
      if (i % 1000 == 0) {
        home_.kill();
        hive_.reset();
        home_.start();
      }
      if (i % 200 == 0) hive_ = std::make_unique<Hive>(kPolicy, home_.address());
      ASSERT_TRUE(step()) << "step " << i << ": " << hive_->geterror();
      hive_->geterror();
      if (i % 100 == 99) {
        ASSERT_TRUE(agrees() && !HasFailure()) << "after step " << i;
      }
    }
  }

  Dice dice_;
  std::unique_ptr<Hive> hive_;
};
