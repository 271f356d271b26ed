#include "loader.h"

#include "files.h"
#include "redolog.h"
#include "snapshot.h"

#include <errno.h>
#include <string.h>

#include <algorithm>

namespace zeva {

namespace {

struct File {
  std::string path;
  std::string bytes;
  int error = 0;  // errno of reading it

  // `memory` is used again: these files are large.
  explicit File(std::string name, std::string memory = {})
      : path(std::move(name)), bytes(std::move(memory)) {
    bytes.clear();
    error = read_file(path, bytes);
  }
  [[nodiscard]] bool missing() const { return error == ENOENT; }
};

struct Snapshot {
  bool is_good = false;
  bool is_sealed = false;
  std::unique_ptr<Key> root;  // null when it is not good, or was only looked at
  uint32_t content = 0;       // a checksum of it
  uint64_t generation = 0;
  std::string why;
};

Snapshot read(File const& file) {
  Snapshot snapshot;
  auto root = std::make_unique<Key>();
  if (file.missing()) {
    snapshot.why = "it is missing";
  } else if (read_snapshot(file.bytes, *root, snapshot.generation, snapshot.why)) {
    snapshot.is_good = true;
    snapshot.is_sealed = is_sealed(file.bytes);
    snapshot.content = content_checksum(file.bytes);
    snapshot.root = std::move(root);
  }
  return snapshot;
}

// For one whose tree is not needed if it is good.
Snapshot look_at(File const& file) {
  Snapshot snapshot;
  snapshot.is_good = is_intact(file.bytes, snapshot.generation);
  if (!snapshot.is_good) return read(file);
  snapshot.content = content_checksum(file.bytes);
  return snapshot;
}

void note_damage(LoadedStore& store, File const& file, std::string const& what) {
  store.notes.push_back(file.path + ": " + what);
  if (!file.missing()) store.damaged.push_back(file.path);
}

void replay(LoadedStore& store, File const& log, uint64_t generation) {
  uint64_t of_log;
  if (log.missing()) {
    note_damage(store, log, "it is missing; changes since the snapshot, if any, are lost");
    return;
  }
  if (!read_log_header(log.bytes, of_log)) {
    note_damage(store, log, "it does not begin like a log; the changes in it do not count");
    return;
  }
  store.generation = std::max(store.generation, of_log);
  if (of_log < generation) return;  // the snapshot holds all of its changes
  if (of_log > generation) {
    note_damage(store, log, "it continues a newer snapshot; the changes in it do not count");
    return;
  }
  size_t good = replay_log(log.bytes, *store.root);
  if (good == log.bytes.size()) return;
  std::string_view rest = std::string_view(log.bytes).substr(good);
  // A store that is read while its server runs may be found like this without being damaged.
  std::string const what =
      is_cut_record(rest) ? "it ends in a record that is torn or still being written," : "damaged";
  note_damage(store, log,
              what + " at byte " + std::to_string(good) + "; the " + std::to_string(rest.size()) +
                  " bytes from there do not count");
}

// Neither snapshot serves: no store at all, or one that must not be replaced by a guess.
void fail(LoadedStore& store, File const& file, Snapshot const& snapshot, File const& backup,
          Snapshot const& before, File const& log) {
  store.absent = file.missing() && backup.missing() && log.missing();
  if (store.absent)
    store.failure = "no store: " + file.path + " is missing";
  else
    store.failure = "the store cannot be read: " + file.path + ": " + snapshot.why + "; " +
                    backup.path + ": " + before.why +
                    "; put one of them back, or move these two and " + log.path +
                    " away to begin with a new store";
}

}  // namespace

LoadedStore load_store(std::string const& config) {
  LoadedStore store;
  // The log first: should the server put a new snapshot in place meanwhile, that snapshot holds all
  // that the log read here has.
  File log(config + kLogFile);
  File file(config + kSnapshotFile);
  Snapshot snapshot = read(file);
  File backup(config + kBackupFile, std::move(file.bytes));
  // What stands there and cannot be read may be good: nothing is guessed in its place.
  for (File const* each : {&log, &file, &backup}) {
    if (each->error == 0 || each->missing()) continue;
    bool no_file = each->error == EINVAL || each->error == ELOOP;
    store.failure =
        each->path + ": " + (no_file ? "it is not a regular file" : strerror(each->error));
    return store;
  }
  Snapshot before = snapshot.is_good ? look_at(backup) : read(backup);

  store.snapshot_is_whole = snapshot.is_good;
  store.generation = std::max(snapshot.generation, before.generation);
  if (!snapshot.is_good && !before.is_good) {
    fail(store, file, snapshot, backup, before, log);
    return store;
  }
  if (!snapshot.is_good)
    note_damage(store, file, snapshot.why + "; the snapshot before it is used");
  if (snapshot.is_good && !backup.missing() && !before.is_good)
    note_damage(store, backup, before.why);
  Snapshot& used = snapshot.is_good ? snapshot : before;
  store.root = std::move(used.root);
  replay(store, log, used.generation);
  // The snapshot before must hold all changes, too: it may be needed one day.
  store.is_at_rest = snapshot.is_sealed && before.is_good && before.content == snapshot.content &&
                     store.generation == used.generation && log.bytes == empty_log(used.generation);
  return store;
}

}  // namespace zeva
