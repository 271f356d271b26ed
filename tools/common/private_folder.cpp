#include "private_folder.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

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

bool write_file(std::string const& path, std::string_view content) {
  int const fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return false;
  while (!content.empty()) {
    ssize_t const written = write(fd, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      close(fd);
      return false;
    }
    content.remove_prefix(static_cast<size_t>(written));
  }
  return close(fd) == 0;
}

}  // namespace zeva
