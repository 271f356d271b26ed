// An open registry key that closes itself, so that no way out of an importer forgets it.
#pragma once

#include "nvporegistry.h"

#include <string>

namespace zeva {

class OpenKey {
 public:
  // Opens, or creates, the key at a path below the root, or below an open key. Whether that worked
  // is asked with operator bool; the registry's error record says why not. The registry must
  // outlive the key.
  OpenKey(NvPoRegistry& registry, std::string const& path);
  OpenKey(NvPoRegistry& registry, _NvPolComHandle* parent, std::string const& path);
  ~OpenKey();
  OpenKey(OpenKey const&) = delete;
  OpenKey& operator=(OpenKey const&) = delete;

  explicit operator bool() const { return key_ != nullptr; }
  _NvPolComHandle* get() const { return key_; }

 private:
  NvPoRegistry& registry_;
  _NvPolComHandle* key_ = nullptr;
  bool borrowed_ = false;  // the parent's own handle, for an empty path
};

}  // namespace zeva
