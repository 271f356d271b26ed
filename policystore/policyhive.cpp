#include "policyhive.h"

#include <algorithm>

namespace zeva {

bool PolicyHive::open_key(std::string const& key, std::string const& file) {
  open_catalogue();
  registry_.setfilename(file);
  (void)registry_.nvregopen();  // nvregopenkey fails when this has
  if (registry_.nvregopenkey(key, regkey_) == 0) return true;
  appenderror(registry_.geterror());
  return false;
}

void PolicyHive::close_key() {
  if (regkey_) registry_.nvregclosekey(regkey_);
  regkey_ = nullptr;
  if (registry_.isopen()) (void)registry_.nvregrefresh();  // destructors can tell nobody
}

bool PolicyHive::referred(int32_t kind, std::string const& iname) {
  char rule[NVPOL_NAME_SIZE] = {};
  uint32_t length = sizeof rule;
  int32_t status = 0;
  if (!nvpol_checkReferInRule(regkey_, kind, iname.c_str(), rule, &length, &status))
    return check(status, "nvpol_checkReferInRule") != 0;
  std::string const name(rule, std::min<size_t>(length, sizeof rule));
  seterrorname("REG_REFERENCE", "nvpol_checkReferInRule", iname, name);
  return true;
}

}  // namespace zeva
