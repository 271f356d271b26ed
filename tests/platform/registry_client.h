// The registry through its C interface, by paths from the root.
#pragma once

#include <stdint.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "nvreg.h"

class RegistryClient {
 public:
  explicit RegistryClient(std::string const& address) {
    int32_t status;
    registry_ = nvreg_open(1, address.c_str(), &root_, &status);
    if (!registry_) throw std::runtime_error("nvreg_open: " + std::to_string(status));
  }
  ~RegistryClient() {
    int32_t ignored;
    nvreg_closeKey(root_, &ignored);
    nvreg_close(registry_, &ignored);
  }
  RegistryClient(RegistryClient const&) = delete;
  RegistryClient& operator=(RegistryClient const&) = delete;

  [[nodiscard]] _NvPolComHandle* root() const { return root_; }

  int32_t refresh() {
    int32_t status;
    nvreg_refresh(registry_, &status);
    return status;
  }

  int32_t create(std::string const& path) {
    int32_t status;
    if (_NvPolComHandle* key = nvreg_createKey(root_, path.c_str(), &status)) close(key);
    return status;
  }

  int32_t erase(std::string const& path) {
    int32_t status;
    nvreg_deleteKey(root_, path.c_str(), &status);
    return status;
  }

  int32_t set(std::string const& path, std::string const& name, _NvRegDataType type,
              std::string const& data) {
    return on_key(path, [&](_NvPolComHandle* key, int32_t* status) {
      nvreg_setValue(key, name.c_str(), type, reinterpret_cast<unsigned char const*>(data.data()),
                     static_cast<uint32_t>(data.size()), status);
    });
  }

  int32_t erase_value(std::string const& path, std::string const& name) {
    return on_key(path, [&](_NvPolComHandle* key, int32_t* status) {
      nvreg_deleteValue(key, name.c_str(), status);
    });
  }

  // The value's data; none when it cannot be read.
  std::optional<std::string> query(std::string const& path, std::string const& name) {
    std::string data(NVREG_MAX_VALUE, '\0');
    uint32_t length = NVREG_MAX_VALUE;
    int32_t status = on_key(path, [&](_NvPolComHandle* key, int32_t* result) {
      _NvRegDataType type;
      nvreg_queryValue(key, name.c_str(), &type, reinterpret_cast<unsigned char*>(data.data()),
                       &length, result);
    });
    if (status < 0) return {};
    data.resize(length);
    return data;
  }

  template <class Body>
  int32_t on_key(std::string const& path, Body body) {
    int32_t status;
    _NvPolComHandle* key = nvreg_openKey(root_, path.c_str(), &status);
    if (!key) return status;
    body(key, &status);
    close(key);
    return status;
  }

 private:
  static void close(_NvPolComHandle* key) {
    int32_t ignored;
    nvreg_closeKey(key, &ignored);
  }

  _NvPolComHandle* registry_ = nullptr;
  _NvPolComHandle* root_ = nullptr;
};
