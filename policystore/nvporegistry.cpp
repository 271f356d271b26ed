#include "nvporegistry.h"

#include <string.h>

#include <algorithm>

NvPoRegistry::NvPoRegistry() {
  initResBundle();
}

NvPoRegistry::NvPoRegistry(std::string const& file) : file_(file) {
  // A failure is recorded below: before the catalogue is open there is no text for it.
  (void)nvregopen();
  initResBundle();
  check_named(open_status_, "nvreg_open", file_);
}

NvPoRegistry::~NvPoRegistry() {
  closeregfile();
}

bool NvPoRegistry::nvregopen() {
  closeregfile();
  memset(file_buffer_, 0, sizeof file_buffer_);
  file_.copy(file_buffer_, sizeof file_buffer_ - 1);
  open_status_ = 0;
  registry_ = nvreg_open(1, file_buffer_, &root_, &open_status_);
  return check_named(open_status_, "nvreg_open", file_) == 0;
}

int NvPoRegistry::nvregrefresh() {
  if (missing(registry_, "polreg.registry")) return -1;
  int32_t status = 0;
  nvreg_refresh(registry_, &status);
  return check(status, "nvreg_refresh");
}

int NvPoRegistry::closeregfile() {
  int result = 0;
  if (root_ != nullptr) {
    int32_t status = 0;
    nvreg_closeKey(root_, &status);
    root_ = nullptr;
    result = check(status, "nvreg_closeKey");
  }
  if (registry_ != nullptr) {
    int32_t status = 0;
    nvreg_close(registry_, &status);
    registry_ = nullptr;
    result = std::min(result, check(status, "nvreg_close"));
  }
  return result;
}

_NvPolComHandle* NvPoRegistry::open_existing(_NvPolComHandle* parent, std::string const& path) {
  int32_t status = 0;
  _NvPolComHandle* key = nvreg_openKey(parent, path.c_str(), &status);
  return check_named(status, "nvreg_openkey", path) == 0 ? key : nullptr;
}

_NvPolComHandle* NvPoRegistry::open_or_create(_NvPolComHandle* parent, std::string const& path) {
  int32_t status = 0;
  _NvPolComHandle* key = nvreg_openKey(parent, path.c_str(), &status);
  if (status >= 0) return key;
  status = 0;
  key = nvreg_createKey(parent, path.c_str(), &status);
  return check_named(status, "nvreg_createKey", path) == 0 ? key : nullptr;
}

int NvPoRegistry::nvregopenkey(std::string const& path, _NvPolComHandle*& key) {
  if (missing(root_, "polreg.root")) return -1;
  _NvPolComHandle* opened = path.empty() ? root_ : open_or_create(root_, path);
  if (opened == nullptr) return -1;
  key = opened;
  return 0;
}

int NvPoRegistry::nvregopenkey(_NvPolComHandle*& key, std::string const& path) {
  if (missing(key, "nvregopenkey hdl")) return -1;
  _NvPolComHandle* opened = path.empty() ? key : open_or_create(key, path);
  if (opened == nullptr) return -1;
  key = opened;
  return 0;
}

int NvPoRegistry::nvregclosekey(_NvPolComHandle* key) {
  if (key != nullptr && key == root_) return 0;
  int32_t status = 0;
  nvreg_closeKey(key, &status);
  return check(status, "nvreg_closeKey");
}

int NvPoRegistry::nvregdeletevalue(std::string const& path, std::string const& name) {
  if (missing(root_, "polreg.root")) return -1;
  _NvPolComHandle* key = open_existing(root_, path);
  if (key == nullptr) return -1;
  int result = nvregdeletevalue(key, name);
  nvregclosekey(key);
  return result;
}

int NvPoRegistry::nvregdeletevalue(_NvPolComHandle* key, std::string const& name) {
  if (missing(key, "nvregdeletevalue: hdl")) return -1;
  int32_t status = 0;
  nvreg_deleteValue(key, name.c_str(), &status);
  return check_named(status, "nvreg_deleteValue", name);
}

int NvPoRegistry::nvregdeletekey(_NvPolComHandle* key, std::string const& subkey) {
  if (missing(key, "nvregdeletekey: hdl")) return -1;
  int32_t status = 0;
  nvreg_deleteKey(key, subkey.c_str(), &status);
  return check_named(status, "nvreg_deleteKey", subkey);
}
