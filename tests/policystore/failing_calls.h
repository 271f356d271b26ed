// Makes a call of the gateway's libraries fail, or an enumeration give what the bundled libraries
// never give, after the real library has done its work, so that nothing stays open.
#pragma once

#include <stdint.h>

#include <string>

constexpr int32_t kFailed = -5;
constexpr int kUnknownType = 7;  // of values, no member of _NvRegDataType

// The name of the call that fails from now on; empty for none.
extern std::string failing_call;

// Whether memory can be had from operator new.
extern bool out_of_memory;

// As long as it lives.
struct Failing {
  explicit Failing(std::string const& call) { failing_call = call; }
  ~Failing() { failing_call.clear(); }
  Failing(Failing const&) = delete;
  Failing& operator=(Failing const&) = delete;
};
