// The error record that every wrapper of the gateway's libraries carries: the texts of its last
// failures, made from the message catalogue and fetched by the caller for the run log.
//
// A failure has a name, the catalogue's key ("REG_FAIL" and its like; catalogue/root.txt lists them
// with their arguments), and up to four arguments. Texts of failures not yet fetched join in order.
#pragma once

#include "nvreg.h"
#include "nvresbundle.h"

#include <initializer_list>
#include <string>

namespace zeva {

class ErrorRecord {
 public:
  ErrorRecord(ErrorRecord const&) = delete;
  ErrorRecord& operator=(ErrorRecord const&) = delete;

  // Records a failure by its name and the arguments of its message, in order. A status is shown as
  // ten characters of hexadecimal, "0x8102000c".
  void seterror(std::string const& name);
  void seterrorname(std::string const& name, std::string const& a);
  void seterrorname(std::string const& name, std::string const& a, std::string const& b);
  void seterrorname(std::string const& name, std::string const& a, std::string const& b,
                    std::string const& c);
  void seterrorname(std::string const& name, std::string const& a, long status);
  void seterrorname(std::string const& name, std::string const& a, std::string const& b,
                    long status);
  void seterrorname(std::string const& name, std::string const& a, std::string const& b,
                    std::string const& c, long status);

  // Returns the texts recorded since the last call and forgets them. It may be empty after a
  // failure: when the catalogue is missing there is no text.
  std::string geterror();

  // The name of the failure recorded last.
  std::string const& errorname() const { return error_name_; }

  // Opens the catalogue of the gateway's home. Without ZEVA_HOME it says so on standard output,
  // once for each wrapper that is constructed, and takes the default home.
  void initResBundle();

 protected:
  ErrorRecord() = default;
  ~ErrorRecord() = default;

  // initResBundle without a word: for a wrapper that owns another, which has told.
  void open_catalogue();

  // true, with "REG_EMPTY" recorded, when a handle is null or a name is empty.
  [[nodiscard]] bool missing(_NvPolComHandle const* handle, char const* what);
  [[nodiscard]] bool missing(std::string const& name, char const* what);

  // 0, or -1 with the failed library call recorded: by its name alone, or with the key, value or
  // object it was made for. By its name alone it is recorded as far as there is memory, and nothing
  // is thrown: destructors check what they close.
  int check(int32_t status, char const* call, char const* code = "REG_FAIL2") noexcept;
  int check_named(int32_t status, char const* call, std::string const& name,
                  char const* code = "REG_FAIL");

  // The texts that geterror() would return.
  std::string const& recorded() const { return error_text_; }

  // Takes over texts that another wrapper has recorded.
  void appenderror(std::string const& text) { error_text_ += text; }

 private:
  void record(std::string const& name, std::initializer_list<std::string> args);

  Nvresbundle catalogue_;
  std::string error_name_;
  std::string error_text_;
};

}  // namespace zeva

// The text under which a status of the policy library is logged:
// "error code is: 0x8102000c \n".
std::string getnvpolerrcode(long code);
