// A registry as text, for comparing: every key with its path, then its values, in store order.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "registry_client.h"
#include "text.h"
#include "tree.h"

inline std::string value_text(std::string const& name, uint32_t type, std::string const& data) {
  return "  " + zeva::to_hex(name) + " " + std::to_string(type) + " " + zeva::to_hex(data) + "\n";
}

inline std::string key_text(std::string const& path) {
  return "[" + zeva::to_hex(path) + "]\n";
}

inline std::string registry_text(zeva::Key const& root) {
  std::string text;
  std::vector<std::string> path{""};
  zeva::walk(
      root,
      [&](zeva::Key const& key) {
        path.push_back(path.size() > 2 ? path.back() + "\\" + key.name : key.name);
        text += key_text(path.back());
        for (size_t i = 0; i < key.values.size(); ++i)
          text += value_text(key.values[i].name, key.values[i].type, key.values[i].data);
      },
      [&](zeva::Key const&) { path.pop_back(); });
  return text;
}

// The same, as a client sees it.
inline std::string registry_text(RegistryClient& client, std::string const& path = {}) {
  std::string text = key_text(path);
  std::vector<std::string> below;
  client.on_key(path, [&](_NvPolComHandle* key, int32_t* status) {
    std::string name(NVREG_MAX_NAME + 1, '\0');
    std::string data(NVREG_MAX_VALUE, '\0');
    for (uint32_t i = 0;; ++i) {
      auto name_length = static_cast<uint32_t>(name.size());
      auto length = static_cast<uint32_t>(data.size());
      _NvRegDataType type;
      nvreg_enumValue(key, i, name.data(), &name_length, &type,
                      reinterpret_cast<unsigned char*>(data.data()), &length, status);
      if (*status < 0) break;
      text += value_text(name.substr(0, name_length), type, data.substr(0, length));
    }
    EXPECT_EQ(*status, NVREG_END_OF_LIST);
    for (uint32_t i = 0;; ++i) {
      auto name_length = static_cast<uint32_t>(name.size());
      nvreg_enumSubkey(key, i, name.data(), &name_length, status);
      if (*status < 0) break;
      below.push_back((path.empty() ? "" : path + "\\") + name.substr(0, name_length));
    }
    EXPECT_EQ(*status, NVREG_END_OF_LIST);
  });
  for (std::string const& key : below) text += registry_text(client, key);
  return text;
}
