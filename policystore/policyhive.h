// What the wrappers of the policy library's hives have in common: the registry key that a hive is
// opened on, the hive's handle, and how a failed call becomes an error record.
#pragma once

#include <string.h>

#include <string>
#include <vector>

#include "nvpol.h"
#include "nvporegistry.h"

class PolicyHive : public ErrorRecord {
 protected:
  PolicyHive() = default;
  ~PolicyHive() = default;

  // Opens the catalogue, the registry at an address and its key at a path, which is created when
  // missing. false when the key cannot be opened; the registry's error texts are taken over.
  bool open_key(std::string const& key, std::string const& file);

  // Closes what open_key has opened, as far as it is open, and makes the changes so far durable and
  // visible to other processes.
  void close_key();

  // true, and recorded, when a handle is null or a name is empty.
  bool missing(_NvPolComHandle const* handle, char const* what);
  bool missing(std::string const& name, char const* what);

  // 0, or -1 with the failed library call recorded: by its name alone, or with the object's.
  int check(int32_t status, char const* call, char const* code = "REG_FAIL2");
  int check_named(int32_t status, char const* call, std::string const& name,
                  char const* code = "REG_FAIL");

  // true, and recorded with the rule's name, when a rule refers to the object.
  bool referred(int32_t kind, std::string const& iname);

  using Enumerator = void (*)(_NvPolComHandle*, uint32_t, char*, uint32_t*, int32_t*);

  // Appends the names that an enumeration gives, from index 0 on. Returns the status that ended it;
  // at_first tells whether it was the first call's.
  static int32_t append_names(Enumerator next, _NvPolComHandle* parent,
                              std::vector<std::string>& names, bool& at_first);

  NvPoRegistry registry_;
  _NvPolComHandle* regkey_ = nullptr;
  _NvPolComHandle* hive_ = nullptr;
};

namespace zeva {

// Fills a record's text field with at most limit bytes. A text that fills the field has no
// terminator.
template <size_t size>
void set_field(char (&field)[size], std::string const& text, size_t limit = size) {
  memset(field, 0, size);
  text.copy(field, limit);
}

// The text of a record's field, terminated or not.
template <size_t size>
std::string field_text(char const (&field)[size]) {
  return std::string(field, strnlen(field, size));
}

}  // namespace zeva
