#include "exchange.h"

#include "files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

namespace zeva {
namespace {

std::string reason(std::string const& path, int error) {
  return path + ": " + (error == EAGAIN ? "it changes while it is read" : strerror(error));
}

std::optional<std::string> reason_if(std::string const& path, int error) {
  return error == 0 ? std::nullopt : std::optional(reason(path, error));
}

// Gives a new file what another one had, as "cp -p" does, but no set-id bits.
int dress(std::string const& path, struct stat const& as) {
  Descriptor const file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  struct stat now;
  if (!file || fstat(file.get(), &now) != 0) return errno;
  bool const is_anothers = now.st_uid != as.st_uid || now.st_gid != as.st_gid;
  timespec const times[] = {as.st_atim, as.st_mtim};
  bool const done = (!is_anothers || fchown(file.get(), as.st_uid, as.st_gid) == 0) &&
                    fchmod(file.get(), as.st_mode & 0777) == 0 &&
                    futimens(file.get(), times) == 0 && fsync(file.get()) == 0;
  return done ? 0 : errno;
}

std::string moment() {
  time_t const now = time(nullptr);
  tm local;
  char text[32];
  strftime(text, sizeof text, "%Y%m%d-%H%M%S", localtime_r(&now, &local));
  return text;
}

}  // namespace

std::optional<std::string> read_files(std::string const& folder, StoreFiles& files) {
  int const error = read_store(folder, files.bytes);
  for (size_t i = 0; i < std::size(kStoreFiles); ++i) {
    std::string const path = folder + kStoreFiles[i];
    bool const is_there = lstat(path.c_str(), &files.about[i]) == 0;
    if (is_there && !S_ISREG(files.about[i].st_mode)) return path + ": it is not a regular file";
    if (error == 0 && is_there != files.bytes[i].has_value()) return reason(path, EAGAIN);
  }
  return reason_if(folder, error);
}

std::optional<std::string> write_files(std::string const& folder, StoreFiles const& files) {
  for (size_t i = 0; i < std::size(kStoreFiles); ++i) {
    if (!files.bytes[i]) continue;
    std::string const path = folder + kStoreFiles[i];
    int error = write_new_file(path, *files.bytes[i]);
    if (error == 0) error = dress(path, files.about[i]);
    if (error != 0) return reason(path, error);
  }
  int const error = sync_folder(folder);
  return reason_if(folder, error);
}

std::optional<std::string> keep_files(StoreFiles const& files, std::string const& config,
                                      std::string const& work, std::string& kept) {
  std::string const made = work + "/kept";
  if (mkdir(made.c_str(), 0700) != 0) return reason(made, errno);
  if (auto why = write_files(made, files)) return why;
  std::string const name = config + "/before-restore-" + moment();
  std::string place = name;
  // Plain, as every file system can: of what has the name already it replaces an empty folder
  // alone.
  int error;
  for (int number = 2; (error = rename_file(made, place)) != 0; ++number) {
    if (error != EEXIST && error != ENOTEMPTY && error != ENOTDIR) return reason(place, error);
    place = name + "-" + std::to_string(number);
  }
  kept = place;
  error = sync_folder(config);
  return reason_if(config, error);
}

std::optional<std::string> put_in_place(std::string const& made, std::string const& config,
                                        std::string const& whole, bool& begun) {
  struct Move {
    std::string from;
    char const* to;
  };
  std::vector<Move> moves;
  if (!whole.empty()) moves.push_back({whole, kSnapshotFile});
  for (char const* const name : {kLogFile, kBackupFile, kSnapshotFile}) {
    std::string const from = made + name;
    if (access(from.c_str(), F_OK) == 0) moves.push_back({from, name});
  }
  for (Move const& move : moves) {
    int error = rename_file(move.from, config + move.to);
    begun = begun || error == 0;
    if (error == 0) error = sync_folder(config);
    if (error != 0) return reason(config + move.to, error);
  }
  return std::nullopt;
}

}  // namespace zeva
