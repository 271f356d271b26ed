// config/regserver.pid below the home: there as long as the server answers. The service script
// finds the server by it.
#pragma once

#include <string>

namespace zeva {

class PidFile {
 public:
  PidFile() = default;
  // Removes the file, if it is still ours.
  ~PidFile();
  PidFile(PidFile const&) = delete;
  PidFile& operator=(PidFile const&) = delete;

  // Writes this process's number in decimal and a line feed; 0 or an errno.
  [[nodiscard]] int write(std::string const& path);

 private:
  std::string path_;
  std::string content_;
};

}  // namespace zeva
