// The registry through its C interface, by paths from the root.
#pragma once

#include "nvreg.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdint.h>
#include <sys/socket.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// A value as the registry library gives it back: its type number and its very bytes.
struct StoredValue {
  std::string name;
  uint32_t type = 0;
  std::string bytes;
  bool operator==(StoredValue const&) const = default;
};

// A key's path from the root, and its values.
using StoredKey = std::pair<std::string, std::vector<StoredValue>>;

inline std::string below(std::string const& path, std::string const& name) {
  return path.empty() ? name : path + "\\" + name;
}

// A line for each key and each value, for comparing.
template <class Keys>
std::string to_text(Keys const& keys) {
  std::string text;
  for (auto const& [path, values] : keys) {
    text += testing::PrintToString(path) + "\n";
    for (StoredValue const& value : values)
      text += "  " + testing::PrintToString(value.name) + " " + std::to_string(value.type) + " " +
              testing::PrintToString(value.bytes) + "\n";
  }
  return text;
}

// The status of opening the registry at an address, which is closed at once.
inline int32_t opening(std::string const& address, int32_t mode = 1) {
  int32_t status, ignored;
  _NvPolComHandle* root = nullptr;
  _NvPolComHandle* const registry = nvreg_open(mode, address.c_str(), &root, &status);
  EXPECT_EQ(registry == nullptr, status != NVREG_OK);
  EXPECT_EQ(root == nullptr, status != NVREG_OK);
  if (registry) nvreg_closeKey(root, &ignored), nvreg_close(registry, &ignored);
  return status;
}

// How many sockets wait so long for what they receive (0 is without end) and are no child's.
inline int sockets_waiting(int seconds) {
  int sockets = 0;
  for (int fd = 0; fd < 64; ++fd) {
    timeval wait = {};
    socklen_t size = sizeof wait;
    sockets += getsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, &size) == 0 &&
               wait.tv_sec == seconds && fcntl(fd, F_GETFD) == FD_CLOEXEC;
  }
  return sockets;
}

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
    uint32_t length = NVREG_MAX_VALUE;
    int32_t status = on_key(path, [&](_NvPolComHandle* key, int32_t* result) {
      _NvRegDataType type;
      nvreg_queryValue(key, name.c_str(), &type, room_.data(), &length, result);
    });
    if (status < 0) return {};
    return std::string(room_.begin(), room_.begin() + length);
  }

  // The key and all that is below it, each key before those under it, in store order.
  std::vector<StoredKey> contents(std::string const& path = {}) {
    std::vector<StoredKey> keys{{path, {}}};
    std::vector<std::string> subkeys;
    EXPECT_EQ(on_key(path,
                     [&](_NvPolComHandle* key, int32_t* status) {
                       list_values(key, keys[0].second, status);
                       EXPECT_EQ(*status, NVREG_END_OF_LIST) << path;
                       list_subkeys(key, subkeys, status);
                     }),
              NVREG_END_OF_LIST)
        << path;
    for (std::string const& name : subkeys)
      for (StoredKey& key : contents(below(path, name))) keys.push_back(std::move(key));
    return keys;
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
  void list_values(_NvPolComHandle* key, std::vector<StoredValue>& values, int32_t* status) {
    std::string name(NVREG_MAX_NAME + 1, '\0');
    for (uint32_t i = 0;; ++i) {
      uint32_t name_length = NVREG_MAX_NAME + 1, length = NVREG_MAX_VALUE;
      _NvRegDataType type;
      nvreg_enumValue(key, i, name.data(), &name_length, &type, room_.data(), &length, status);
      if (*status < 0) return;
      values.push_back(
          {name.substr(0, name_length), type, {room_.begin(), room_.begin() + length}});
    }
  }

  static void list_subkeys(_NvPolComHandle* key, std::vector<std::string>& names, int32_t* status) {
    std::string name(NVREG_MAX_NAME + 1, '\0');
    for (uint32_t i = 0;; ++i) {
      uint32_t length = NVREG_MAX_NAME + 1;
      nvreg_enumSubkey(key, i, name.data(), &length, status);
      if (*status < 0) return;
      names.push_back(name.substr(0, length));
    }
  }

  static void close(_NvPolComHandle* key) {
    int32_t ignored;
    nvreg_closeKey(key, &ignored);
  }

  _NvPolComHandle* registry_ = nullptr;
  _NvPolComHandle* root_ = nullptr;
  std::vector<unsigned char> room_ = std::vector<unsigned char>(NVREG_MAX_VALUE);
};
