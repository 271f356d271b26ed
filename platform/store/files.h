// Whole files, read and written with care: what is not a regular file is refused, links are not
// followed, and a file is new and on the disk before anyone sees it. Results are 0 or an errno.
#pragma once

#include <string>
#include <string_view>

namespace zeva {

// Owns a descriptor; -1 is none.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  [[nodiscard]] int get() const { return fd_; }
  int release();

 private:
  int fd_;
};

// EINVAL when it is not a regular file.
[[nodiscard]] int read_file(std::string const& path, std::string& bytes);

// Writes all bytes to a descriptor.
[[nodiscard]] int write_all(int fd, std::string_view bytes);

// Makes a file of mode 0600 that holds the bytes and is on the disk, in place of a file left under
// that name; nothing is left there on failure.
[[nodiscard]] int write_new_file(std::string const& path, std::string_view bytes);

[[nodiscard]] int rename_file(std::string const& from, std::string const& to);

// Makes the names in a folder durable.
[[nodiscard]] int sync_folder(std::string const& path);

// Gives a file a second name that no file has yet: aside + "-1", "-2" and so on. Returns the name,
// empty when there can be none.
[[nodiscard]] std::string keep_aside(std::string const& path, std::string const& aside);

}  // namespace zeva
