// A folder for one test, removed with it, and texts in files.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

// Empty for a file that cannot be read.
inline std::string read_text(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// In folders that are made when they are missing.
inline void write_text(std::string const& path, std::string const& text) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// The names of everything below a folder, to see that nothing was left behind.
inline std::set<std::string> names_below(std::filesystem::path const& folder) {
  std::set<std::string> names;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(folder))
    names.insert(entry.path().lexically_relative(folder));
  return names;
}

// The texts of all regular files below a folder, by their paths in it.
inline std::map<std::string, std::string> read_files(std::filesystem::path const& folder) {
  std::map<std::string, std::string> texts;
  for (auto const& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!std::filesystem::is_regular_file(entry.symlink_status())) continue;
    texts[entry.path().lexically_relative(folder)] = read_text(entry.path());
  }
  return texts;
}

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string path = std::filesystem::temp_directory_path() / "zeva-test-XXXXXX";
    if (!mkdtemp(path.data())) throw std::runtime_error("no scratch folder");
    path_ = path;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(ScratchFolder const&) = delete;
  ScratchFolder& operator=(ScratchFolder const&) = delete;

  [[nodiscard]] std::string const& path() const { return path_; }
  std::string operator/(std::string const& name) const { return path_ + "/" + name; }
  [[nodiscard]] std::string read(std::string const& name) const { return read_text(*this / name); }
  void write(std::string const& name, std::string const& text) const {
    write_text(*this / name, text);
  }

 private:
  std::string path_;
};
