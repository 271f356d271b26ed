#include "nvrulehive.h"

#include <utility>

NvRuleHive::NvRuleHive(std::string const& key, std::string const& file) {
  setfile(key, file);
}

NvRuleHive::~NvRuleHive() {
  if (root_) closeRule(root_);
  closeRuleHive();
  close_key();
}

void NvRuleHive::setfile(std::string const& key, std::string const& file) {
  if (root_) closeRule(std::exchange(root_, nullptr));
  closeRuleHive();
  if (regkey_) close_key();
  if (!open_key(key, file)) return;
  int32_t status = 0;
  hive_ = nvpol_openRuleHive(regkey_, 0, &status);
  if (check(status, "nvpol_openRuleHive") != 0) return;
  root_ = nvpol_openRootRule(hive_, &status);
  check(status, "nvpol_openRootRule");
}

long NvRuleHive::closeRuleHive() {
  if (!hive_) return 0;
  int32_t status = 0;
  nvpol_closeRuleHive(std::exchange(hive_, nullptr), &status);
  return check(status, "nvpol_closeRuleHive");
}

_NvPolComHandle* NvRuleHive::openRule(std::string const& name) {
  if (missing(hive_, "ahive") || missing(root_, "hRootRule")) return nullptr;
  int32_t status = 0;
  if (name.find('\\') != std::string::npos) {
    _NvPolComHandle* rule = nvpol_openRuleByFullName(hive_, name.c_str(), &status);
    return check_named(status, "nvpol_openRuleByFullName", name) == 0 ? rule : nullptr;
  }
  _NvPolComHandle* rule = nvpol_openRule(root_, name.c_str(), &status);
  return check_named(status, "nvpol_openRule", name, "REG_FILE") == 0 ? rule : nullptr;
}

long NvRuleHive::closeRule(_NvPolComHandle* rule) {
  if (missing(rule, "closeRule hdl")) return -1;
  int32_t status = 0;
  nvpol_closeRule(rule, &status);
  return check(status, "nvpol_closeRule");
}

long NvRuleHive::closeTask(_NvPolComHandle* task) {
  if (missing(task, "closeTask hdl")) return -1;
  int32_t status = 0;
  nvpol_closeTask(task, &status);
  return check(status, "nvpol_closeTask", "REG_FILE2");
}

long NvRuleHive::set_order(OrderCall const& call, _NvPolComHandle* parent, std::string const& name,
                           int32_t order) {
  if (missing(parent, (call.operation + " hParent").c_str())) return -1;
  if (order <= 0) {
    seterrorname("REG_POSITIVE", call.operation + ": order");
    return -1;
  }
  if (missing(name, (call.operation + " iname").c_str())) return -1;
  int32_t status = 0;
  call.function(parent, name.c_str(), order, &status);
  return check(status, call.name);
}
