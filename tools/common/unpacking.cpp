#include "unpacking.h"

#include "command.h"
#include "files.h"
#include "package_key.h"

#include <zlib.h>

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace zeva {
namespace {

using GoOn = std::function<void()>;

struct CloseArchive {
  void operator()(gzFile archive) const { gzclose_r(archive); }
};
using Archive = std::unique_ptr<gzFile_s, CloseArchive>;

// What of an export the folder's disk has room for.
uint64_t room_in(std::string const& folder) {
  struct statvfs disk;
  // A disk that names no size of its own has no bound of its own.
  if (statvfs(folder.c_str(), &disk) != 0 || disk.f_blocks == 0) return UINT64_MAX;
  return uint64_t{disk.f_bavail} * disk.f_frsize;
}

// What follows says what went wrong, or nothing.

std::optional<std::string> run(Command const& command) {
  CommandResult const done = run_command(command);
  return done.succeeded() ? std::nullopt : std::optional(done.explanation());
}

// Unpacks the archive into nothing: what is in it may be a thousand times its size.
std::optional<std::string> measure(std::string const& archive, uint64_t room, GoOn const& go_on) {
  Archive const file(gzopen(archive.c_str(), "rbe"));
  if (!file) return std::string("the deciphered package cannot be read: ") + strerror(errno);
  constexpr unsigned kPiece = 256 * 1024;
  std::vector<char> piece(kPiece);
  int got = 1;
  for (uint64_t total = 0; got > 0; go_on()) {
    if (signal_received() != 0) return "interrupted";
    got = gzread(file.get(), piece.data(), kPiece);
    if (gzdirect(file.get()) != 0) {
      return "is no settings package, or one of another key: what it holds is no gzip archive";
    }
    if (got > 0) total += static_cast<uint64_t>(got);
    if (total > kLargestExport) return "holds more than 16 GiB, which no migration takes";
    if (total > room) return "holds more than the disk has room for";
  }
  int error = Z_OK;
  gzerror(file.get(), &error);
  if (error == Z_OK) return std::nullopt;
  return error == Z_BUF_ERROR ? "is damaged: it ends too early" : "is damaged";
}

std::optional<std::string> open_copy(std::string const& package, std::string const& copy,
                                     std::string const& key, std::string const& folder,
                                     GoOn const& go_on) {
  struct stat info;
  if (stat(package.c_str(), &info) != 0) return std::string("cannot be read: ") + strerror(errno);
  if (!S_ISREG(info.st_mode)) return "is not a file";
  auto const tick = [&](std::string const&) { go_on(); };
  if (auto why = run({{"cp", "--", package, copy}, "", tick})) return why;
  int const error = write_new_file(key, std::string(kPackageKey.begin(), kPackageKey.end()));
  if (error != 0) return std::string("the package key cannot be written: ") + strerror(error);
  if (auto why = run({{"rc4", "-dec", "-in", copy, "-key", key}, "", tick})) return why;
  if (auto why = measure(copy, room_in(folder), go_on)) return why;
  unsetenv("TAR_OPTIONS");  // which the migration does not go by either
  auto why = run({{"tar", "--extract", "--gzip", "--file=" + copy, "--force-local",
                   "--no-same-owner", "--no-same-permissions", "--directory=" + folder},
                  "",
                  tick});
  return why && signal_received() == 0 ? "cannot be unpacked: " + *why : why;
}

}  // namespace

std::optional<std::string> unpack(std::string const& package, std::string const& work,
                                  std::string const& folder, std::function<void()> const& go_on) {
  if (mkdir(folder.c_str(), 0700) != 0) return folder + " cannot be made: " + strerror(errno);
  std::string const copy = work + "/archive";
  std::string const key = work + "/key";
  auto const why = open_copy(package, copy, key, folder, go_on);
  unlink(copy.c_str());
  unlink(key.c_str());
  return why;
}

}  // namespace zeva
