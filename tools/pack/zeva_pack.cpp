// zeva-pack: makes a settings package from a folder of export files.
//
// A package is a gzip tar, enciphered as a whole, of the folder's files and of "md5.sum", the
// checksums of all of them in the form that "md5sum -c" checks. The same folder gives the same
// package, byte for byte. Everything is made in a private folder beside the package and moved into
// place last, so that a package is there whole or not at all. Checksums, archive and cipher come
// from the commands that the migration will open the package with.

#include "command.h"
#include "files.h"
#include "package_key.h"
#include "package_names.h"
#include "private_folder.h"
#include "tool.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr size_t kArgumentBytes = size_t{64} * 1024;  // of file names for one call of md5sum

// Names relative to the folder, each with "./" in front, so that none can pass for an option or for
// standard input; in the order of their bytes.
struct Contents {
  std::vector<std::string> all;
  std::vector<std::string> files;
  timespec newest{};  // when the youngest file was changed
};

std::string os_error() {
  return strerror(errno);
}

// The folder's path as it begins those of what is in it; that of the root is a slash already.
std::string inside(std::string const& folder) {
  return folder.ends_with('/') ? folder : folder + "/";
}

// An export need not be whole to be packed and tried.
bool holds_export_file(fs::path const& folder, std::error_code& failure) {
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    std::error_code unknown;
    std::string const name = entry->path().filename();
    bool const is_known = std::ranges::find(zeva::kTopFiles, name) != std::end(zeva::kTopFiles);
    if (is_known && entry->is_regular_file(unknown)) return true;
  }
  return false;
}

// One level up or down, where the export lies when the wrong folder was named.
std::optional<std::string> right_folder(fs::path const& folder) {
  std::error_code ignored;
  if (holds_export_file(folder.parent_path(), ignored)) return folder.parent_path();
  for (fs::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    std::error_code no_folder;
    if (holds_export_file(entry->path(), no_folder)) return entry->path();
  }
  return std::nullopt;
}

bool is_export(std::string const& folder) {
  std::error_code failure;
  if (holds_export_file(folder, failure)) return true;
  std::string why = "cannot be read: " + failure.message();
  if (!failure) {
    why = "holds no export file at its top, none of";
    for (char const* const name : zeva::kTopFiles) why.append(" ").append(name);
    if (auto const right = right_folder(folder)) why += "; " + *right + " does";
  }
  zeva::complain(folder, why);
  return false;
}

bool add_entry(fs::directory_entry const& entry, std::string const& folder, Contents& contents) {
  struct stat info;
  if (lstat(entry.path().c_str(), &info) != 0) {
    zeva::complain(entry.path().native(), os_error());
    return false;
  }
  std::string const name = "./" + entry.path().native().substr(inside(folder).size());
  if (S_ISDIR(info.st_mode) && name == std::string("./") + zeva::kChecksumFile) {
    zeva::complain(entry.path().native(), "is a folder; the package's checksums go by this name");
    return false;
  }
  if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
    zeva::complain(entry.path().native(),
                   S_ISLNK(info.st_mode)
                       ? "is a link; a package holds files and folders only"
                       : "is neither a file nor a folder; a package holds nothing else");
    return false;
  }
  contents.all.push_back(name);
  if (S_ISREG(info.st_mode)) {
    contents.files.push_back(name);
    if (info.st_mtim.tv_sec > contents.newest.tv_sec) contents.newest.tv_sec = info.st_mtim.tv_sec;
  }
  return true;
}

bool list(std::string const& folder, Contents& contents) {
  std::error_code failure;
  auto entries = fs::recursive_directory_iterator(folder, failure);
  std::string reading = folder;
  for (; !failure && entries != fs::end(entries); entries.increment(failure)) {
    // The list that stands in the folder gives way to the one that is made here.
    if (entries.depth() == 0 && entries->path().filename() == zeva::kChecksumFile &&
        entries->symlink_status().type() == fs::file_type::regular) {
      continue;
    }
    if (!add_entry(*entries, folder, contents)) return false;
    reading = entries->is_directory() ? entries->path() : entries->path().parent_path();
  }
  if (failure) {
    zeva::complain(reading, "cannot be read: " + failure.message());
    return false;
  }
  std::sort(contents.all.begin(), contents.all.end());
  std::sort(contents.files.begin(), contents.files.end());
  return true;
}

bool run(zeva::Command const& command, std::string const& subject, std::string& output) {
  zeva::CommandResult const result = zeva::run_command(command);
  if (!result.succeeded()) zeva::complain(subject, result.explanation());
  output += result.output;
  return result.succeeded();
}

bool write(std::string const& path, std::string const& content) {
  int const error = zeva::write_new_file(path, content);
  if (error != 0) zeva::complain(path, std::string("cannot be written: ") + strerror(error));
  return error == 0;
}

bool make_checksums(std::string const& folder, Contents const& contents, std::string const& path) {
  std::string checksums;
  for (size_t next = 0; next < contents.files.size();) {
    zeva::Command md5sum{{"md5sum", "--"}, folder, {}};
    for (size_t bytes = 0; next < contents.files.size() && bytes < kArgumentBytes; ++next) {
      bytes += contents.files[next].size();
      md5sum.arguments.push_back(contents.files[next]);
    }
    if (!run(md5sum, folder, checksums)) return false;
  }
  if (!write(path, checksums)) return false;
  // Nothing of the moment goes into the package.
  timespec const times[] = {contents.newest, contents.newest};
  if (chmod(path.c_str(), 0644) == 0 && utimensat(AT_FDCWD, path.c_str(), times, 0) == 0) {
    return true;
  }
  zeva::complain(path, "cannot be given a mode and a time: " + os_error());
  return false;
}

bool make_archive(std::string const& folder, Contents const& contents,
                  zeva::PrivateFolder const& work, std::string const& path) {
  std::string names;
  for (std::string const& name : contents.all) names += name + '\0';
  if (!write(work / "names", names)) return false;
  // Made before it is filled, as one with passwords must be: for its owner alone.
  if (!write(path, "")) return false;
  std::string ignored;
  return run(
      {{"tar", "--create", "--file=" + path, "--force-local", "--format=gnu",
        "--use-compress-program=gzip -n", "--owner=0", "--group=0", "--numeric-owner",
        "--hard-dereference", "--no-recursion", "--directory=" + work.path(), zeva::kChecksumFile,
        "--directory=" + folder, "--null", "--no-unquote", "--files-from=" + (work / "names")},
       "",
       {}},
      folder, ignored);
}

bool encipher(zeva::PrivateFolder const& work, std::string const& path) {
  std::string const key(zeva::kPackageKey.begin(), zeva::kPackageKey.end());
  std::string ignored;
  return write(work / "key", key) &&
         run({{"rc4", "-enc", "-in", path, "-key", work / "key"}, "", {}}, path, ignored);
}

// Never replaces anything, also not what came into being meanwhile. File systems that know no
// such move know links.
bool move_into_place(std::string const& made, std::string const& package) {
  if (renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, package.c_str(), RENAME_NOREPLACE) == 0 ||
      (errno == EINVAL && link(made.c_str(), package.c_str()) == 0)) {
    return true;
  }
  zeva::complain(package, "cannot be made: " + os_error());
  return false;
}

// The folder that the package is to be made in; none, with a complaint made, if it may not be.
std::optional<std::string> place_for(std::string const& package, std::string const& folder) {
  struct stat info;
  if (lstat(package.c_str(), &info) == 0) {
    zeva::complain(package, "exists already; remove it or name another file");
    return std::nullopt;
  }
  fs::path const parent = fs::path(package).parent_path();
  std::error_code failure;
  std::string place = fs::canonical(parent.empty() ? "." : parent, failure);
  if (failure) {
    zeva::complain(package, "cannot be made: " + failure.message());
    return std::nullopt;
  }
  if (inside(place).starts_with(inside(folder))) {
    zeva::complain(package, "lies in the folder to pack; name a place outside");
    return std::nullopt;
  }
  return place;
}

bool pack(std::string const& folder, std::string const& package) {
  auto const place = place_for(package, folder);
  Contents contents;
  if (!place || !is_export(folder) || !list(folder, contents)) return false;
  zeva::PrivateFolder const work(*place);
  if (work.error()) {
    zeva::complain(package, "cannot be made: " + *work.error());
    return false;
  }
  std::string const made = work / "package";
  return make_checksums(folder, contents, work / zeva::kChecksumFile) &&
         make_archive(folder, contents, work, made) && encipher(work, made) &&
         move_into_place(made, package);
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app(
      "Makes a settings package for zeva-migrate from a folder of export files.\n"
      "The folder is only read; an md5.sum in it is left out and a new one packed\n"
      "instead.");
  std::string folder;
  std::string package;
  app.add_option("FOLDER", folder, "the folder of export files")->required();
  app.add_option("PKG", package, "the package to make; it must not exist yet")->required();
  if (auto const status = zeva::parse_command_line(app, argc, argv)) return *status;

  zeva::hold_signals();
  zeva::prefer_own_commands();
  setenv("LC_ALL", "C", 1);  // one language for the commands' error messages

  std::error_code failure;
  fs::path const place = fs::canonical(folder, failure);
  if (failure) return zeva::complain(folder, "cannot be read: " + failure.message());
  if (!fs::is_directory(place)) return zeva::complain(folder, "is not a folder");
  if (pack(place, package)) return 0;
  return zeva::signal_received() != 0 ? 128 + zeva::signal_received() : zeva::kFailed;
} catch (std::exception const& error) {
  return zeva::complain_of(error);
}
