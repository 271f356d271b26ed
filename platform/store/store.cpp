#include "store.h"

#include "loader.h"
#include "nvreg.h"
#include "snapshot.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace zeva {

namespace {

// A log is worth a new snapshot once it is this long and longer than the snapshot.
constexpr uint64_t kLogBound = uint64_t{4} << 20;

[[nodiscard]] bool failed(int error, std::string const& path, std::string& why) {
  if (error != 0) why = path + ": " + strerror(error);
  return error != 0;
}

// Only one server may write a store. The lock goes with the process.
Descriptor lock_folder(std::string const& path, std::string& why) {
  Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || flock(folder.get(), LOCK_EX | LOCK_NB) != 0) {
    int error = errno;
    why = path + ": " + (error == EWOULDBLOCK ? "another server has it open" : strerror(error));
    return Descriptor();
  }
  return folder;
}

// Whether nobody else can write to the file, nor meets under another name what is appended to it.
bool is_our_own(std::string const& path) {
  struct stat about;
  return lstat(path.c_str(), &about) == 0 && about.st_uid == geteuid() && about.st_nlink == 1 &&
         (about.st_mode & ~static_cast<mode_t>(S_IFMT)) == (S_IRUSR | S_IWUSR);
}

}  // namespace

Store::Store(std::string const& config)
    : folder_(config),
      snapshot_(config + kSnapshotFile),
      log_path_(config + kLogFile),
      backup_(config + kBackupFile) {}

std::unique_ptr<Store> Store::open(std::string const& config, std::vector<std::string>& notes,
                                   std::string& why) {
  std::unique_ptr<Store> store(new Store(config));
  store->lock_ = lock_folder(config, why);
  if (!store->lock_ || !store->load(notes, why)) return nullptr;
  return store;
}

bool Store::load(std::vector<std::string>& notes, std::string& why) {
  // Before it is read: so a restore that overtakes the reading is noticed.
  if (lstat(snapshot_.c_str(), &snapshot_stat_) != 0) snapshot_stat_ = {};
  LoadedStore loaded = load_store(folder_);
  if (loaded.absent) return load_factory(why) && write_snapshot_and_log(false, why);
  if (!loaded.root) {
    why = loaded.failure;
    return false;
  }
  notes.insert(notes.end(), loaded.notes.begin(), loaded.notes.end());
  for (std::string const& path : loaded.damaged) {
    std::string aside = keep_aside(path, path + ".damaged");
    if (aside.empty()) {
      why = path + " is damaged and cannot be kept aside: " + strerror(errno);
      return false;
    }
    notes.push_back("kept as " + aside);
  }
  root_ = std::move(loaded.root);
  generation_ = loaded.generation;
  return (loaded.is_at_rest && take_over_files()) ||
         write_snapshot_and_log(loaded.snapshot_is_whole, why);
}

// Goes on with the files as they were read: written anew they would be the same. False when they
// are not in every way as this server writes them, or may not stay so: then they must be.
bool Store::take_over_files() {
  for (std::string const& path : {snapshot_, log_path_, backup_})
    if (!is_our_own(path) || sync_file(path) != 0) return false;
  if (sync_folder(folder_) == 0 && log_.open(log_path_, generation_) == 0 &&
      snapshot_is_untouched()) {
    log_bound_ = std::max(kLogBound, static_cast<uint64_t>(snapshot_stat_.st_size));
    return true;
  }
  log_ = RedoLog();
  return false;
}

bool Store::load_factory(std::string& why) {
  std::string const path = folder_ + "/factory.xml";
  std::string bytes;
  if (failed(read_file(path, bytes), path, why)) return false;
  root_ = std::make_unique<Key>();
  if (read_snapshot(bytes, *root_, generation_, why)) return true;
  why = path + ": " + why;
  return false;
}

bool Store::write_snapshot_and_log(bool keep_current, std::string& why) {
  // The snapshot before the current one stays when the current one is damaged and it was read.
  bool const new_backup = keep_current || access(backup_.c_str(), F_OK) != 0;
  uint64_t length = 0;
  if (!write_new_files(keep_current, new_backup, length, why) || !put_in_place(new_backup, why)) {
    for (std::string const& path : {snapshot_, log_path_, backup_}) unlink((path + ".new").c_str());
    return false;
  }
  log_bound_ = std::max(kLogBound, length);
  return true;
}

// All new files are whole and on the disk before the first is put in place. The new .bak is a copy:
// were it a second name of the current snapshot, a crash before that is replaced would leave one
// file under two names, and a restore would write both of its snapshots into it.
bool Store::write_new_files(bool keep_current, bool new_backup, uint64_t& length,
                            std::string& why) {
  auto write = [&](std::string const& path, std::string const& bytes) {
    return !failed(write_new_file(path + ".new", bytes), path + ".new", why);
  };
  std::string text = write_snapshot(*root_, generation_ + 1);
  length = text.size();
  if (!write(snapshot_, text) || !write(log_path_, empty_log(generation_ + 1))) return false;
  if (keep_current && failed(read_file(snapshot_, text), snapshot_, why)) return false;
  return !new_backup || write(backup_, text);
}

// A crash between the renames leaves a log that is older than the snapshot and counts for nothing.
// A restore may come whenever the disk is waited for: after each wait it is looked for.
bool Store::put_in_place(bool new_backup, std::string& why) {
  if (was_restored(log_, why)) return false;
  if (new_backup && failed(rename_file(backup_ + ".new", backup_), backup_, why)) return false;
  if (failed(rename_file(snapshot_ + ".new", snapshot_), snapshot_, why)) return false;
  // From here on only a log of the new generation may be written.
  RedoLog old = std::exchange(log_, RedoLog());
  ++generation_;
  if (lstat(snapshot_.c_str(), &snapshot_stat_) != 0) return !failed(errno, snapshot_, why);
  if (failed(sync_folder(folder_), folder_, why)) return false;
  if (was_restored(old, why)) return false;
  if (failed(rename_file(log_path_ + ".new", log_path_), log_path_, why)) return false;
  if (failed(sync_folder(folder_), folder_, why)) return false;
  return !failed(log_.open(log_path_, generation_), log_path_, why);
}

int32_t Store::change(wire::Call const& call) {
  bool changes_nothing;
  int32_t status = check(*root_, call, changes_nothing);
  if (status < 0 || changes_nothing) return status;
  if (!log_.healthy()) return NVREG_STORE_WRITE;
  if (!log_.is_left_alone()) return NVREG_STORE_DAMAGED;
  if (log_.append(call) != 0)
    return !log_.healthy() || log_.is_left_alone() ? NVREG_STORE_WRITE : NVREG_STORE_DAMAGED;
  apply(*root_, call);
  return NVREG_OK;
}

int32_t Store::refresh(std::string& note) {
  if (!log_.healthy()) return NVREG_STORE_WRITE;
  if (!log_.is_untouched()) return NVREG_STORE_DAMAGED;
  if (log_.sync() != 0) return NVREG_STORE_WRITE;
  if (log_.size() <= log_bound_ || !snapshot_is_untouched()) return NVREG_OK;
  if (write_snapshot_and_log(true, note)) return NVREG_OK;
  // What was written counts as long as the old log goes on; not to try again at once.
  log_bound_ = 2 * log_.size();
  return log_.healthy() ? NVREG_OK : NVREG_STORE_WRITE;
}

bool Store::was_restored(RedoLog& log, std::string& why) const {
  if (!log.healthy() || (log.is_untouched() && snapshot_is_untouched())) return false;
  why = snapshot_ + ": restored while a new one was written; the new one is dropped";
  return true;
}

bool Store::snapshot_is_untouched() const {
  struct stat now;
  return lstat(snapshot_.c_str(), &now) == 0 && now.st_ino == snapshot_stat_.st_ino &&
         now.st_size == snapshot_stat_.st_size &&
         now.st_ctim.tv_sec == snapshot_stat_.st_ctim.tv_sec &&
         now.st_ctim.tv_nsec == snapshot_stat_.st_ctim.tv_nsec;
}

}  // namespace zeva
