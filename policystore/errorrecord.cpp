#include "errorrecord.h"

#include "console.h"
#include "product_home.h"

#include <stdio.h>
#include <stdlib.h>

#include <new>
#include <utility>
#include <vector>

namespace zeva {
namespace {

std::string status_text(long status) {
  char text[512];
  snprintf(text, sizeof text, "%#010x", static_cast<unsigned>(status));
  return text;
}

}  // namespace

void ErrorRecord::record(std::string const& name, std::initializer_list<std::string> args) {
  std::vector<icu::Formattable> filled;
  for (std::string const& arg : args) filled.emplace_back(icu::UnicodeString::fromUTF8(arg));
  filled.emplace_back(0);
  error_name_ = name;
  error_text_ += catalogue_.getmessage(name, filled.data());
}

void ErrorRecord::seterror(std::string const& name) {
  record(name, {});
}

void ErrorRecord::seterrorname(std::string const& name, std::string const& a) {
  record(name, {a});
}

void ErrorRecord::seterrorname(std::string const& name, std::string const& a,
                               std::string const& b) {
  record(name, {a, b});
}

void ErrorRecord::seterrorname(std::string const& name, std::string const& a, std::string const& b,
                               std::string const& c) {
  record(name, {a, b, c});
}

void ErrorRecord::seterrorname(std::string const& name, std::string const& a, long status) {
  record(name, {a, status_text(status)});
}

void ErrorRecord::seterrorname(std::string const& name, std::string const& a, std::string const& b,
                               long status) {
  record(name, {a, b, status_text(status)});
}

void ErrorRecord::seterrorname(std::string const& name, std::string const& a, std::string const& b,
                               std::string const& c, long status) {
  record(name, {a, b, c, status_text(status)});
}

bool ErrorRecord::missing(_NvPolComHandle const* handle, char const* what) {
  if (handle != nullptr) return false;
  seterrorname("REG_EMPTY", what);
  return true;
}

bool ErrorRecord::missing(std::string const& name, char const* what) {
  if (!name.empty()) return false;
  seterrorname("REG_EMPTY", what);
  return true;
}

int ErrorRecord::check(int32_t status, char const* call, char const* code) noexcept {
  if (status >= 0) return 0;
  try {
    seterrorname(code, call, status);
  } catch (std::bad_alloc const&) {  // the failure counts without its text, too
  }
  return -1;
}

int ErrorRecord::check_named(int32_t status, char const* call, std::string const& name,
                             char const* code) {
  if (status >= 0) return 0;
  seterrorname(code, call, name, status);
  return -1;
}

std::string ErrorRecord::geterror() {
  return std::exchange(error_text_, {});
}

void ErrorRecord::initResBundle() {
  if (getenv("ZEVA_HOME") == nullptr) print_line("Unable to get ZEVA_HOME, initResBundle failed.");
  open_catalogue();
}

void ErrorRecord::open_catalogue() {
  std::string const home = product_home();
  catalogue_.setfile(home + "/config/zevautilerr", "IDG_ZEVA_UTIL", nullptr);
}

}  // namespace zeva

std::string getnvpolerrcode(long code) {
  return "error code is: " + zeva::status_text(code) + " \n";
}
