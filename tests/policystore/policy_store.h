// What the tests of the policy store share: a store of their own and the text of an expected error
// record.
#pragma once

#include "failing_calls.h"
#include "nvporegistry.h"
#include "openkey.h"
#include "policyhive.h"
#include "scratch_home.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

using Handle = _NvPolComHandle*;
using zeva::OpenKey;
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
template <class... Arguments>
std::string message(Arguments const&... arguments) {
  struct Record : zeva::ErrorRecord {
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

template <class Wrapper>
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
