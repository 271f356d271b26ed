// Stores that tests make up.
#pragma once

#include "nvreg.h"
#include "tree.h"

#include <initializer_list>
#include <sstream>
#include <string>

inline zeva::Value text(std::string const& name, std::string const& content) {
  return {name, NVREG_STRING, content + '\0'};
}

inline void put(zeva::Key& root, std::string const& path,
                std::initializer_list<zeva::Value> values) {
  zeva::Key* key = &root;
  std::istringstream components(path);
  for (std::string name; std::getline(components, name, '\\');) key = &key->subkeys.at(name);
  for (zeva::Value const& value : values) key->values.at(value.name) = value;
}
