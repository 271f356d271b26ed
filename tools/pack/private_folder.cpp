#include "private_folder.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include <filesystem>

namespace zeva {

PrivateFolder::PrivateFolder(std::string const& parent) : path_(parent + "/.zeva-XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) {
    error_ = strerror(errno);
    path_.clear();
  }
}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;  // nobody is left to be told
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace zeva
