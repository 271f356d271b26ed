// A folder that only this user can enter, removed with all that is in it.
#pragma once

#include <optional>
#include <string>

namespace zeva {

// Removes a folder with all that is in it, however deep it is and whatever its modes are.
void remove_tree(std::string path);

class PrivateFolder {
 public:
  // Makes it under a name of its own below `parent`.
  explicit PrivateFolder(std::string const& parent);
  ~PrivateFolder();
  PrivateFolder(PrivateFolder const&) = delete;
  PrivateFolder& operator=(PrivateFolder const&) = delete;

  // Why it could not be made, if it could not.
  [[nodiscard]] std::optional<std::string> const& error() const { return error_; }
  [[nodiscard]] std::string const& path() const { return path_; }
  [[nodiscard]] std::string operator/(std::string const& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
  std::optional<std::string> error_;
};

}  // namespace zeva
