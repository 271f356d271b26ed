#include "policyhive.h"

#include <algorithm>

bool PolicyHive::open_key(std::string const& key, std::string const& file) {
  initResBundle();
  registry_.setfilename(file);
  registry_.nvregopen();  // nvregopenkey fails when this has
  if (registry_.nvregopenkey(key, regkey_) == 0) return true;
  appenderror(registry_.geterror());
  return false;
}

void PolicyHive::close_key() {
  if (regkey_) registry_.nvregclosekey(regkey_);
  regkey_ = nullptr;
  registry_.nvregrefresh();
}

bool PolicyHive::missing(_NvPolComHandle const* handle, char const* what) {
  if (handle) return false;
  seterrorname("REG_EMPTY", what);
  return true;
}

bool PolicyHive::missing(std::string const& name, char const* what) {
  if (!name.empty()) return false;
  seterrorname("REG_EMPTY", what);
  return true;
}

int PolicyHive::check(int32_t status, char const* call, char const* code) {
  if (status >= 0) return 0;
  seterrorname(code, call, status);
  return -1;
}

int PolicyHive::check_named(int32_t status, char const* call, std::string const& name,
                            char const* code) {
  if (status >= 0) return 0;
  seterrorname(code, call, name, status);
  return -1;
}

bool PolicyHive::referred(int32_t kind, std::string const& iname) {
  char rule[NVPOL_NAME_SIZE] = {};
  uint32_t length = sizeof rule;
  int32_t status = 0;
  if (!nvpol_checkReferInRule(regkey_, kind, iname.c_str(), rule, &length, &status)) return false;
  std::string const name(rule, std::min<size_t>(length, sizeof rule));
  seterrorname("REG_REFERENCE", "nvpol_checkReferInRule", iname, name);
  return true;
}

int32_t PolicyHive::append_names(Enumerator next, _NvPolComHandle* parent,
                                 std::vector<std::string>& names, bool& at_first) {
  for (uint32_t index = 0;; ++index) {
    char name[NVPOL_NAME_SIZE] = {};
    uint32_t length = sizeof name;
    int32_t status = 0;
    next(parent, index, name, &length, &status);
    at_first = index == 0;
    if (status < 0) return status;
    names.push_back(zeva::field_text(name));
  }
}
