// Notices that somebody else has opened a file that this process writes to: the kernel tells of
// each who opens, closes, renames or removes it (inotify), which costs less than to look at the
// file before each write. SIGIO must be ignored.
#pragma once

#include "descriptor.h"

#include <stdint.h>

#include <string>

namespace zeva {

class FileWatch {
 public:
  // Watches the file at a path, which this process has open for writing as `file`, and all folders
  // above it. Where one of them cannot be watched, or the path is not absolute and free of links,
  // the file is never quiet.
  void open(std::string const& path, int file);

  // Whether nobody else has opened, renamed or removed the file, or renamed a folder above it,
  // since settle(). To cut it by its name alone is nothing of that.
  [[nodiscard]] bool is_quiet();

  // To be called when the file was found in order: it is quiet from now on, unless somebody else
  // has it open.
  void settle();

  // The file was found to be in disorder.
  void unsettle() { quiet_ = false; }

  // Whether somebody who could write to the file has closed it, as far as is_quiet() knows.
  [[nodiscard]] bool was_written() const { return written_; }

 private:
  [[nodiscard]] bool watch(std::string const& path, uint32_t events) const;

  Descriptor events_;
  int file_ = -1;
  bool complete_ = false;
  bool quiet_ = false;
  bool written_ = false;
};

}  // namespace zeva
