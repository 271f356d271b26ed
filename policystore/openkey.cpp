#include "openkey.h"

namespace zeva {

OpenKey::OpenKey(NvPoRegistry& registry, std::string const& path) : registry_(registry) {
  if (registry_.nvregopenkey(path, key_) != 0) key_ = nullptr;
}

OpenKey::OpenKey(NvPoRegistry& registry, _NvPolComHandle* parent, std::string const& path)
    : registry_(registry), key_(parent) {
  if (registry_.nvregopenkey(key_, path) != 0) key_ = nullptr;
  borrowed_ = key_ == parent;
}

OpenKey::~OpenKey() {
  if (key_ != nullptr && !borrowed_) registry_.nvregclosekey(key_);
}

}  // namespace zeva
