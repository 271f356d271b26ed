// zeva-unpack: opens a settings package, so that its export can be read and corrected.
//
// Everything is made in a private folder beside the one that was asked for and moved into place
// last, so that the export is there whole or not at all. A package comes from outside: of what it
// holds only files and folders stay, for this user alone, as the importers open nothing else and
// zeva-pack packs nothing else.

#include "checksum_list.h"
#include "command.h"
#include "export_file.h"
#include "files.h"
#include "package_limits.h"
#include "package_names.h"
#include "private_folder.h"
#include "tool.h"
#include "trusted_open.h"
#include "unpacking.h"

#include <errno.h>
#include <fcntl.h>
#include <fts.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

// The export is there, but something in it does not hold, or was left out.
constexpr int kNotWhole = 3;

// An export on its way: where it is made, and where it will be.
struct Export {
  std::string made;
  std::string place;
  int reports = 0;

  void report(std::string const& name, std::string const& what) {
    zeva::complain(place + "/" + name, what);
    ++reports;
  }
};

char const* kind_of(mode_t mode) {
  if (S_ISLNK(mode)) return "a link";
  if (S_ISFIFO(mode)) return "a pipe";
  return S_ISCHR(mode) || S_ISBLK(mode) ? "a device" : "neither a file nor a folder";
}

struct CloseTree {
  void operator()(FTS* tree) const { fts_close(tree); }
};

// Looks at everything that was unpacked: files and folders are closed to others, the rest goes.
// Why it could not be done; nothing when it was.
std::optional<std::string> take_over(Export& made) {
  std::string top = made.made;
  char* const paths[] = {top.data(), nullptr};
  std::unique_ptr<FTS, CloseTree> const tree(fts_open(paths, FTS_PHYSICAL, nullptr));
  off_t total = 0;
  while (FTSENT const* entry = tree ? fts_read(tree.get()) : nullptr) {
    char const* const path = entry->fts_accpath;
    int failed = 0;
    switch (entry->fts_info) {
      case FTS_D:
        failed = chmod(path, 0700);
        break;
      case FTS_DP:
        break;
      case FTS_F:
        // A file with holes is larger than its archive.
        if (entry->fts_statp->st_size > zeva::kLargestExport - total)
          return "holds more than 16 GiB, which no migration takes";
        total += entry->fts_statp->st_size;
        failed = chmod(path, 0600);
        break;
      case FTS_DNR:
      case FTS_ERR:
      case FTS_NS:
        errno = entry->fts_errno;
        failed = -1;
        break;
      default:
        made.report(entry->fts_path + top.size() + 1, std::string("is ") +
                                                          kind_of(entry->fts_statp->st_mode) +
                                                          ", which no importer opens; left out");
        failed = unlink(path);
    }
    if (failed != 0) return std::string("what it holds cannot be kept: ") + strerror(errno);
    errno = 0;
  }
  if (errno != 0) return std::string("what it holds cannot be read: ") + strerror(errno);
  return std::nullopt;
}

// Whether a name of the list can only lead to what was unpacked: there are no links in it.
bool stays_inside(std::string const& name) {
  return !name.starts_with('/') && name != "-" &&
         ("/" + name + "/").find("/../") == std::string::npos;
}

// Looks for all files of the list. False when md5sum must not follow it: it would read outside of
// the export, or without end.
bool may_be_followed(zeva::Descriptor const& file, Export& made) {
  struct stat info;
  off_t total = 0;
  if (fstat(file.get(), &info) != 0 || info.st_size > zeva::kLargestList) {
    made.report(zeva::kChecksumFile, "is too long to be followed");
    return false;
  }
  zeva::ChecksumList list(file.get());
  for (std::string name; list.next(name);) {
    if (!stays_inside(name)) {
      made.report(zeva::kChecksumFile, "lists " + name + ", outside of the package; not followed");
      return false;
    }
    zeva::Descriptor const listed = zeva::open_export_file(made.made, name);
    if (!listed) made.report(name, "is listed in md5.sum and is not there");
    if (!listed || fstat(listed.get(), &info) != 0) continue;
    if (info.st_size > zeva::kLargestExport - total) {
      made.report(zeva::kChecksumFile, "lists more than 16 GiB, which no migration takes");
      return false;
    }
    total += info.st_size;
  }
  if (list.failed()) made.report(zeva::kChecksumFile, "cannot be read to its end");
  return !list.failed();
}

// Says which files the migration would find changed.
void check_sums(Export& made) {
  zeva::Descriptor const file = zeva::open_export_file(made.made, zeva::kChecksumFile);
  if (!file) {
    made.report(zeva::kChecksumFile, "is missing; zeva-pack makes one");
    return;
  }
  int const before = made.reports;
  if (!may_be_followed(file, made)) return;
  zeva::CommandResult const done =
      zeva::run_command({{"md5sum", "--quiet", "--check", zeva::kChecksumFile}, made.made, {}});
  if (done.succeeded()) return;
  constexpr std::string_view kChanged = ": FAILED";
  std::istringstream lines(done.output);
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with(kChanged)) {
      line.resize(line.size() - kChanged.size());
      made.report(line, "does not have the checksum that md5.sum says");
    }
  }
  // A missing file has been named before.
  if (made.reports == before || done.not_run) made.report(zeva::kChecksumFile, done.explanation());
}

// A folder on the way to the place in which others can put something else, so that it leads where
// they want while the export is made; none if all of them are closed. The root folder is not asked
// about.
std::optional<fs::path> open_folder_above(fs::path const& place) {
  fs::path folder = place.parent_path();
  while (folder.has_relative_path() && zeva::is_closed_folder(folder.c_str(), S_ISVTX))
    folder = folder.parent_path();
  return folder.has_relative_path() ? std::optional(folder) : std::nullopt;
}

// Who can put something else in such a folder, and what to do about it.
std::string way_out(fs::path const& open) {
  struct stat info;
  bool const is_own = stat(open.c_str(), &info) == 0 && info.st_uid == geteuid();
  std::string const who = is_own ? "its group or others" : "its owner, its group or others";
  return who + " can change what is in " + open.native() + "; " +
         (is_own ? "run chmod go-w " + open.native() + ", or " : "") +
         "name a place in a folder that only you can write to";
}

bool is_mount_point(std::string const& folder) {
  struct statx info;
  return statx(AT_FDCWD, folder.c_str(), AT_SYMLINK_NOFOLLOW, 0, &info) == 0 &&
         (info.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

// Why what is there already cannot give way to the export, if it cannot.
std::optional<std::string> why_it_stays(std::string const& name) {
  std::error_code failure;
  if (!fs::is_directory(fs::symlink_status(name, failure))) return "is no folder";
  bool const is_empty = fs::is_empty(name, failure);
  if (failure) return "cannot be read: " + failure.message();
  if (!is_empty) return "is not empty; name another folder";
  if (fs::equivalent(name, ".", failure)) return "is where this command runs; name another folder";
  if (is_mount_point(name)) return "is a mount point; name a folder in it";
  return std::nullopt;
}

// Where the export is to be, from the root; none, with a complaint made, if nothing may be there.
std::optional<fs::path> place_for(std::string name) {
  while (name.size() > 1 && name.ends_with('/')) name.pop_back();
  fs::path const path = name;
  std::error_code failure;
  bool const exists = fs::exists(fs::symlink_status(path, failure));
  if (auto const why = exists ? why_it_stays(name) : std::nullopt) {
    zeva::complain(name, *why);
    return std::nullopt;
  }
  fs::path place = exists
                       ? fs::canonical(path, failure)
                       : fs::canonical(path.has_parent_path() ? path.parent_path() : ".", failure) /
                             path.filename();
  auto const open = failure ? std::nullopt : open_folder_above(place);
  if (!failure && !open) return place;
  zeva::complain(name, "cannot be made: " + (open ? way_out(*open) : failure.message()));
  return std::nullopt;
}

bool unpack(std::string const& package, Export& made, zeva::PrivateFolder const& work) {
  auto why = zeva::unpack(package, work.path(), made.made, [] {});
  if (!why) why = take_over(made);
  if (why) {
    zeva::complain(package, *why);
    return false;
  }
  check_sums(made);
  return zeva::signal_received() == 0;
}

// In the place of an empty folder or of nothing; nothing else gives way. The whole of it is on the
// disk before it has its name. 0 or the error number.
int put_in_place(Export const& made) {
  zeva::Descriptor const folder(open(made.made.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || syncfs(folder.get()) != 0) return errno;
  int const error = zeva::rename_file(made.made, made.place);
  return error != 0 ? error : zeva::sync_folder(fs::path(made.place).parent_path());
}

int run(std::string const& package, std::string const& folder) {
  auto const place = place_for(folder);
  if (!place) return zeva::kFailed;
  zeva::PrivateFolder const work(place->parent_path());
  if (work.error()) return zeva::complain(folder, "cannot be made: " + *work.error());
  Export made{work / "export", *place};
  if (!unpack(package, made, work)) return zeva::kFailed;
  if (int const error = put_in_place(made); error != 0) {
    return zeva::complain(folder, std::string("cannot be made: ") + strerror(error));
  }
  return made.reports == 0 ? 0 : kNotWhole;
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app(
      "Opens a settings package, so that its export can be read and corrected.\n"
      "The package is only read; zeva-pack makes a new one of the folder.");
  std::string package;
  std::string folder;
  app.add_option("PKG", package, "the settings package")->required();
  app.add_option("FOLDER", folder, "the folder to make; one that exists must be empty")->required();
  if (auto const status = zeva::parse_command_line(app, argc, argv)) return *status;

  zeva::hold_signals();
  zeva::prefer_own_commands();
  setenv("LC_ALL", "C", 1);  // one language for the commands' messages
  int const status = run(package, folder);
  return zeva::signal_received() != 0 && status == zeva::kFailed ? 128 + zeva::signal_received()
                                                                 : status;
} catch (std::exception const& error) {
  return zeva::complain_of(error);
}
