#include "policy_backup.h"

#include "commands.h"
#include "files.h"
#include "fixed_text.h"
#include "product_home.h"
#include "results.h"
#include "runlog.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace zeva {
namespace {

// A path too long for a command can still be opened.
using Path = FixedText<PATH_MAX>;

struct PolicyFile {
  char const* path;    // below the home
  char const* backup;  // below the backup folder
  // Of this run: what an earlier one has left is never put back.
  bool copied = false;          // the backup folder has a whole copy
  bool put_back = false;        // what was put back is on the disk
  char const* bytes = nullptr;  // what the file held, in a mapping of its own; null: not held
  size_t size = 0;

  bool backed_up() const { return copied || bytes != nullptr; }
};

PolicyFile policy_files[] = {
    {"/config/cFlt_db.xml", "/cFlt_db.xml"},
    {"/config/cFlt_db.xml.redo", "/cFlt_db.xml.redo"},
    {"/config/cFlt_db.xml.bak", "/cFlt_db.xml.bak"},
};

bool restored = false;

// Links are followed as cp follows them: these folders are the home's own.
Descriptor open_file(Path const& path, int flags) {
  if (!path.fits()) return Descriptor();
  return open_without_waiting(path.c_str(), flags | O_NOCTTY | O_CLOEXEC, 0600);
}

Path below(char const* folder, char const* name) {
  Path path;
  path.add(folder).add(name);
  return path;
}

Path in_home(char const* name) {
  return below(product_home(), name);
}

Path backup_folder() {
  return in_home("/config/backup");
}

Path original_of(PolicyFile const& file) {
  return in_home(file.path);
}

Path backup_of(PolicyFile const& file) {
  return below(backup_folder().c_str(), file.backup);
}

bool exists(Path const& path) {
  return path.fits() && access(path.c_str(), F_OK) == 0;
}

bool is_regular(Path const& path) {
  struct stat status;
  return path.fits() && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// cp would wait at a pipe, and takes a folder in the target's place for one to copy into.
bool copy(Path const& source, Path const& target) {
  if (!is_regular(source) || !target.fits()) return false;
  if (!is_regular(target) && unlink(target.c_str()) != 0 && errno != ENOENT) return false;
  return copyfile(source.c_str(), target.c_str()) && is_regular(target);
}

[[nodiscard]] bool sync_to_disk(Path const& path) {
  Descriptor const file = open_file(path, O_RDONLY);
  return file && fsync(file.get()) == 0;
}

// The names in a folder. Where this fails they are there all the same, and nothing better can be
// done.
void sync_names(Path const& folder) {
  (void)sync_to_disk(folder);
}

int make_backup_folder(Path const& folder) {
  struct stat status;
  bool ready =
      folder.fits() && (stat(folder.c_str(), &status) == 0 ? S_ISDIR(status.st_mode)
                                                           : mkdir(folder.c_str(), 0755) == 0);
  if (!ready) {
    LogDebugMessage("Error [%d]: make backup folder failed (%s).", 328, folder.c_str());
    return kNoBackup;
  }
  return 0;
}

// False when there are fewer bytes.
bool read_whole(int fd, size_t place, char* bytes, size_t size) {
  size_t got = size;
  return read_at(fd, place, bytes, got) == 0 && got == size;
}

// The bytes of a file, null when they cannot be had. In a mapping of their own, which neither a
// jump out of the heap nor a change of the file reaches.
char const* hold(Path const& path, size_t& size) {
  Descriptor const source = open_file(path, O_RDONLY);
  struct stat status;
  if (!source || fstat(source.get(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  size = static_cast<size_t>(status.st_size);
  // One byte more: there is no mapping of nothing.
  void* const room =
      mmap(nullptr, size + 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (room == MAP_FAILED) return nullptr;
  auto const bytes = static_cast<char*>(room);
  if (read_whole(source.get(), 0, bytes, size)) return bytes;
  munmap(room, size + 1);
  return nullptr;
}

void back_up(PolicyFile& file) {
  Path const original = original_of(file);
  Path const backup = backup_of(file);
  file.copied = copy(original, backup) && sync_to_disk(backup);
  // Half a copy, or one of an earlier run among those of this one, would be taken for a backup.
  if (!file.copied) unlink(backup.c_str());
  file.bytes = hold(file.copied ? backup : original, file.size);
}

// Compared piece by piece: there may be no memory for a second copy.
bool is_as_it_was(PolicyFile const& file) {
  Descriptor const now = open_file(original_of(file), O_RDONLY);
  struct stat status;
  if (!now || fstat(now.get(), &status) != 0 || static_cast<size_t>(status.st_size) != file.size)
    return false;
  char piece[16 * 1024];
  for (size_t at = 0; at < file.size; at += sizeof piece) {
    size_t const length = std::min(file.size - at, sizeof piece);
    if (!read_whole(now.get(), at, piece, length) || memcmp(piece, file.bytes + at, length) != 0)
      return false;
  }
  return true;
}

// Over what stands there, which a full disk has room for.
bool write_held(PolicyFile const& file) {
  Descriptor const target = open_file(original_of(file), O_WRONLY | O_CREAT);
  return target && write_all(target.get(), {file.bytes, file.size}) == 0 &&
         ftruncate(target.get(), static_cast<off_t>(file.size)) == 0;
}

void put_back(PolicyFile& file) {
  Path const original = original_of(file);
  bool done = file.copied && exists(backup_of(file)) && copy(backup_of(file), original);
  if (file.bytes != nullptr && !(done && is_as_it_was(file))) done = write_held(file);
  file.put_back = done && sync_to_disk(original);
}

}  // namespace

int back_up_policy_files() {
  LogDebugMessage("Backup policy files...");
  Path const folder = backup_folder();
  if (int result = make_backup_folder(folder); result != 0) return result;
  for (PolicyFile& file : policy_files) {
    if (!exists(original_of(file))) continue;
    back_up(file);
    if (file.backed_up()) continue;
    LogDebugMessage("Error [%d]: backup %s failed.", 349, original_of(file).c_str());
    return kNoBackup;
  }
  // What holds the copies is new, too, the first time.
  sync_names(folder);
  sync_names(in_home("/config"));
  return 0;
}

void restore_policy_files() {
  LogDebugMessage("Restore backuped policy files...");
  restored = true;
  for (PolicyFile& file : policy_files) {
    if (file.backed_up()) put_back(file);
  }
  sync_names(in_home("/config"));
}

void check_restored_policy_files() {
  if (!restored) return;
  for (PolicyFile& file : policy_files) {
    if (!file.backed_up() || (file.put_back && file.bytes != nullptr && is_as_it_was(file)))
      continue;
    put_back(file);
    if (file.put_back) continue;
    LogDebugMessage("Error [%d]: restore %s failed.", 372, original_of(file).c_str());
  }
  sync_names(in_home("/config"));
}

}  // namespace zeva
