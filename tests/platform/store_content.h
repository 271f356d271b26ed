// A store without its server: a value put into it, and its tree as text, to be compared with what a
// client sees of it.
#pragma once

#include "registry_client.h"
#include "store.h"
#include "tree.h"

#include <string>
#include <vector>

// A value of the root.
inline int32_t set_value(zeva::Store& store, std::string const& name, std::string const& data) {
  zeva::wire::Call call;
  call.set_action(zeva::wire::SET_VALUE);
  call.set_type(NVREG_BINARY);
  call.set_name(name);
  call.set_data(data);
  return store.change(call);
}

inline std::string to_text(zeva::Key const& root) {
  std::vector<StoredKey> keys;
  std::vector<std::string> paths;
  zeva::walk(
      root,
      [&](zeva::Key const& key) {
        paths.push_back(paths.empty() ? "" : below(paths.back(), key.name));
        StoredKey& stored = keys.emplace_back(paths.back(), std::vector<StoredValue>());
        for (size_t i = 0; i < key.values.size(); ++i)
          stored.second.push_back({key.values[i].name, key.values[i].type, key.values[i].data});
      },
      [&](zeva::Key const&) { paths.pop_back(); });
  return to_text(keys);
}
