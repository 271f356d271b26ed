// A store's tree as text, to be compared with what a client sees of it.
#pragma once

#include <string>
#include <vector>

#include "registry_client.h"
#include "tree.h"

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
