#include "unpacking.h"

#include "command.h"
#include "files.h"
#include "package_key.h"
#include "package_limits.h"
#include "private_folder.h"

#include <errno.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

namespace zeva {
namespace {

using Tick = std::function<void(std::string const&)>;

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

// Unpacks the archive into nothing: what is in it may be a thousand times its size. With the
// command that tar calls, as others do not go on where it does: behind the first part of an archive
// it takes further ones, of older methods too.
std::optional<std::string> measure(std::string const& archive, uint64_t room, Tick const& tick) {
  uint64_t const largest = std::min(room, uint64_t{kLargestExport});
  std::string const one_more = std::to_string(largest + 1);
  CommandResult const done = run_command(
      {{"sh", "-c", "gzip -dc <\"$1\" | head -c \"$2\" | wc -c", "sh", archive, one_more},
       "",
       tick});
  if (!done.succeeded()) return done.explanation();
  if (strtoull(done.output.c_str(), nullptr, 10) > largest) {
    return largest == room ? "holds more than the disk has room for"
                           : "holds more than 16 GiB, which no migration takes";
  }
  // Of other damage tar has the last word: it is in what follows the export, perhaps.
  if (done.error.find("not in gzip format") == std::string::npos) return std::nullopt;
  return "is no settings package, or one of another key: what it holds is no gzip archive";
}

// Unpacks an archive that takes less than half of the room. False for any other, and for one that
// is not as it should be: a part of it may be in the folder. Whatever is wrong is said on standard
// error, if only a byte that was left: head takes no more from the pipe than it is told to.
bool unpacked_at_once(std::string const& archive, std::string const& folder, uint64_t room,
                      Tick const& tick) {
  uint64_t const most = std::min(room, uint64_t{kLargestExport}) / 2;
  constexpr char kScript[] =
      "{ gzip -dc <\"$1\" || echo not all of it >&2; } | { head -c \"$2\"; head -c 1 >&2; } | "
      "tar --extract --file=- --no-same-owner --no-same-permissions --warning=no-timestamp "
      "--directory=\"$3\"";
  CommandResult const done =
      run_command({{"sh", "-c", kScript, "sh", archive, std::to_string(most), folder}, "", tick});
  return done.succeeded() && done.error.empty();
}

// Any archive. As tar unpacks it by itself, which takes other things for an archive than it does of
// what it is given; so what is wrong with one is told as the migration finds it.
std::optional<std::string> measure_and_unpack(std::string const& archive, std::string const& folder,
                                              uint64_t room, Tick const& tick) {
  if (auto why = measure(archive, room, tick)) return why;
  auto why = run({{"tar", "--extract", "--gzip", "--file=" + archive, "--force-local",
                   "--no-same-owner", "--no-same-permissions", "--directory=" + folder},
                  "",
                  tick});
  return why && signal_received() == 0 ? "cannot be unpacked: " + *why : why;
}

std::optional<std::string> open_copy(std::string const& package, std::string const& copy,
                                     std::string const& key, std::string const& folder,
                                     Tick const& tick) {
  struct stat info;
  if (stat(package.c_str(), &info) != 0) return std::string("cannot be read: ") + strerror(errno);
  if (!S_ISREG(info.st_mode)) return "is not a file";
  if (auto why = run({{"cp", "--", package, copy}, "", tick})) return why;
  int const error = write_new_file(key, std::string(kPackageKey.begin(), kPackageKey.end()));
  if (error != 0) return std::string("the package key cannot be written: ") + strerror(error);
  if (auto why = run({{"rc4", "-dec", "-in", copy, "-key", key}, "", tick})) return why;
  unsetenv("TAR_OPTIONS");  // which the migration does not go by either
  uint64_t const room = room_in(folder);
  if (unpacked_at_once(copy, folder, room, tick)) return std::nullopt;
  remove_tree(folder);
  if (mkdir(folder.c_str(), 0700) != 0) return folder + " cannot be made: " + strerror(errno);
  return measure_and_unpack(copy, folder, room, tick);
}

}  // namespace

std::optional<std::string> unpack(std::string const& package, std::string const& work,
                                  std::string const& folder, std::function<void()> const& go_on) {
  if (mkdir(folder.c_str(), 0700) != 0) return folder + " cannot be made: " + strerror(errno);
  std::string const copy = work + "/archive";
  std::string const key = work + "/key";
  auto why = open_copy(package, copy, key, folder, [&](std::string const&) { go_on(); });
  unlink(copy.c_str());
  unlink(key.c_str());
  return why;
}

}  // namespace zeva
