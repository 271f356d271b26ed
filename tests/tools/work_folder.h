// A folder of a test's own, removed with it, and what tests look at there.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "command.h"

class WorkFolder {
 public:
  WorkFolder() {
    std::string path = std::filesystem::temp_directory_path() / "zeva-tools-XXXXXX";
    path_ = mkdtemp(path.data());
  }
  ~WorkFolder() { std::filesystem::remove_all(path_); }
  WorkFolder(WorkFolder const&) = delete;
  WorkFolder& operator=(WorkFolder const&) = delete;

  std::string operator/(std::string const& name) const { return path_ + "/" + name; }

  void write(std::string const& name, std::string const& content) const {
    std::filesystem::create_directories(std::filesystem::path(*this / name).parent_path());
    std::ofstream(*this / name, std::ios::binary) << content;
  }

  std::string read(std::string const& name) const {
    std::ifstream file(*this / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // Runs a line of shell in the folder.
  zeva::CommandResult sh(std::string const& line) const {
    return zeva::run_command({{"sh", "-c", line}, path_, {}});
  }

  // The names of everything below, to see that nothing was left behind.
  std::set<std::string> names() const {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(path_)) {
      names.insert(entry.path().lexically_relative(path_));
    }
    return names;
  }

 private:
  std::string path_;
};
