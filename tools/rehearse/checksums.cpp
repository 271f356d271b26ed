#include "checksums.h"

#include "checksum_list.h"
#include "descriptor.h"
#include "package_guard.h"
#include "package_names.h"
#include "text.h"

#include <nettle/md5.h>

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

namespace zeva {
namespace {

Descriptor open_to_read(std::string const& path) {
  return Descriptor(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// What is wrong with a listed file, if anything is. md5sum follows links and takes what it
// finds at the path; what could hold it up has been ruled out for the whole list.
std::optional<std::string> trouble_with(std::string const& path, std::string const& sum) {
  Descriptor const file = open_to_read(path);
  md5_ctx state;
  md5_init(&state);
  uint8_t buffer[64 * 1024];
  ssize_t got = file ? 1 : -1;
  while (got > 0) {
    got = read(file.get(), buffer, sizeof buffer);
    if (got < 0 && errno == EINTR)
      got = 1;
    else if (got > 0)
      md5_update(&state, static_cast<size_t>(got), buffer);
  }
  if (got < 0) return std::string("is listed in md5.sum, but cannot be read: ") + strerror(errno);
  uint8_t digest[MD5_DIGEST_SIZE];
  md5_digest(&state, sizeof digest, digest);
  std::string wanted;
  (void)from_hex(sum, wanted);
  std::string_view const found(reinterpret_cast<char const*>(digest), sizeof digest);
  if (wanted == found) return std::nullopt;
  return "its checksum " + to_hex(found) + " is not that of md5.sum";
}

}  // namespace

std::set<std::string> check_checksums(std::string const& folder, std::function<void()> const& go_on,
                                      std::vector<Finding>& findings) {
  std::set<std::string> listed;
  auto const report = [&](std::string const& file, std::string const& text) {
    findings.push_back({"checksum", file, "", "", text});
  };
  Descriptor const file = open_to_read(folder + "/" + kChecksumFile);
  if (!checksum_list_is_safe(folder.c_str())) {
    report(kChecksumFile, "leads the run to files that it does not open, and is refused");
    return listed;
  }
  ChecksumList list(file.get());
  for (std::string name; file && list.next(name);) {
    go_on();
    std::string const path = name.starts_with('/') ? name : folder + "/" + name;
    std::string const plain = std::filesystem::path(name).lexically_normal();
    if (auto const trouble = trouble_with(path, list.sum())) report(plain, *trouble);
    listed.insert(plain);
  }
  if (listed.empty() || list.failed()) {
    report(kChecksumFile, file ? "holds no checksum that can be read" : "is missing");
  }
  return listed;
}

}  // namespace zeva
