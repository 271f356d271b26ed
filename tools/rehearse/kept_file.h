// A file that a rehearsal leaves behind. It is written in the sandbox, through a descriptor that is
// inherited, and has its name only when it is whole and on the disk.
#pragma once

#include "descriptor.h"

#include <string>

namespace zeva {

class KeptFile {
 public:
  KeptFile() = default;
  // Takes back what was not kept.
  ~KeptFile();
  KeptFile(KeptFile const&) = delete;
  KeptFile& operator=(KeptFile const&) = delete;

  // Makes the file beside its later name, for this user alone. 0 or an errno; EEXIST when
  // something other than a regular file has that name.
  [[nodiscard]] int make(std::string const& path);

  // -1 without a file. Programs that are started from here inherit it.
  [[nodiscard]] int descriptor() const { return file_.get(); }

  // Whether there is a file and anything has been written to it.
  [[nodiscard]] bool is_written() const;

  // Gives the file its name, in place of one that has it. 0 or an errno.
  [[nodiscard]] int keep();

 private:
  std::string path_;
  std::string temporary_;  // empty when there is nothing to take back
  Descriptor file_;
};

}  // namespace zeva
