#include "pidfile.h"

#include "files.h"

#include <unistd.h>

namespace zeva {

PidFile::~PidFile() {
  std::string content;
  if (path_.empty() || read_file(path_, content) != 0 || content != content_) return;
  unlink(path_.c_str());
}

int PidFile::write(std::string const& path) {
  content_ = std::to_string(getpid()) + "\n";
  int error = write_new_file(path + ".new", content_);
  if (error == 0) error = rename_file(path + ".new", path);
  if (error == 0) path_ = path;
  return error;
}

}  // namespace zeva
