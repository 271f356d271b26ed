// zeva-restore: puts the backup that the last migration has made of a home's store back, after
// showing what that changes.
//
// What is judged and what is put back are the same bytes: the backup is copied into a private
// folder first. From the moment that the server is told to stop, signals wait until the store is
// whole and the server runs again. Exit status: 1 when it could not be done, 3 when nobody said
// yes.

#include "change_text.h"
#include "command.h"
#include "exchange.h"
#include "files.h"
#include "home_server.h"
#include "loader.h"
#include "printable.h"
#include "private_folder.h"
#include "product_home.h"
#include "proof.h"
#include "real_paths.h"
#include "redolog.h"
#include "run_lock.h"
#include "secrets.h"
#include "snapshot.h"
#include "tool.h"
#include "trusted_open.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>

namespace fs = std::filesystem;

using namespace zeva;

namespace {

constexpr int kNotConfirmed = 3;
constexpr char kNotStarted[] = "the registry server cannot be started";

volatile sig_atomic_t ended_by = 0;

// Caught and not ignored, so that commands start with the default again; those of run_command are
// in a group of their own, which neither the keyboard nor the end of a session reaches.
void note_signals() {
  sigset_t const ending = ending_signals();
  struct sigaction action = {};
  action.sa_handler = [](int number) { ended_by = number; };
  for (int const number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    if (sigismember(&ending, number) == 1) sigaction(number, &action, nullptr);
  }
  signal(SIGPIPE, [](int) {});
}

// While this lives, no migration begins on this machine or this home.
class RunLock {
 public:
  RunLock() : is_taken_(take_run_lock(holder_)) { share_run_lock(false); }
  ~RunLock() { remove_run_lock(); }
  RunLock(RunLock const&) = delete;
  RunLock& operator=(RunLock const&) = delete;

  // Why it could not be taken; nothing when it was.
  [[nodiscard]] std::optional<std::string> error() const {
    if (is_taken_) return std::nullopt;
    return holder_ != 0
               ? "a migration is running, process " + std::to_string(holder_)
               : "another user's migration, or a command of an ended one, is still running";
  }

 private:
  pid_t holder_ = 0;
  bool const is_taken_;
};

struct Places {
  std::string home;
  std::string config = home + "/config";
  std::string backup = config + "/backup";
};

// A set of store files, and the store in it where the files are those of the bundled server.
struct StoreSet {
  StoreFiles files;
  LoadedStore store;
  [[nodiscard]] bool is_sound() const { return store.root && store.notes.empty(); }
};

bool begins_like_ours(StoreCopy const& files) {
  uint64_t generation;
  auto const is_snapshot = [](std::optional<std::string> const& file) {
    return file && file->substr(0, 256).find("<store version=") != std::string::npos;
  };
  return is_snapshot(files[0]) || is_snapshot(files[2]) ||
         (files[1] && read_log_header(*files[1], generation));
}

// Why there is no backup to put back; nothing when there is.
std::optional<std::string> read_backup(Places const& places, StoreFiles const& present,
                                       StoreFiles& backup) {
  struct stat info;
  if (lstat(places.backup.c_str(), &info) != 0) {
    return errno == ENOENT ? "there is no backup; no migration has come as far as making one"
                           : places.backup + ": " + strerror(errno);
  }
  // A migration follows it, whoever has made it.
  if (S_ISLNK(info.st_mode) && !is_trusted_owner(info.st_uid)) {
    return places.backup +
           ": it is a link that somebody else has made; if you trust it, with the " +
           "server stopped: cd " + places.config + " && cp -pf backup/* . && sync";
  }
  bool const is_link = S_ISLNK(info.st_mode);
  if (stat(places.backup.c_str(), &info) != 0) return places.backup + ": " + strerror(errno);
  if (is_link && (!is_trusted_owner(info.st_uid) || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0)) {
    return places.backup + ": it is a link to a folder that others can write to";
  }
  if (!S_ISDIR(info.st_mode)) return places.backup + ": it is not a folder";
  if (auto why = read_files(places.backup, backup)) return why;
  for (size_t i = 0; i < std::size(kStoreFiles); ++i) {
    if (!present.bytes[i] || backup.bytes[i]) continue;
    return "the backup is not whole: " + places.backup + kStoreFiles[i] +
           " is missing; if the store had no such file before the run, move " + places.config +
           kStoreFiles[i] + " away first";
  }
  bool const is_empty = std::ranges::none_of(backup.bytes, [](auto const& file) { return !!file; });
  if (is_empty) return "there is no backup: " + places.backup + " is empty";
  return std::nullopt;
}

// What is wrong with a backup of the bundled server's, which lies in `copy`; nothing if nothing is.
std::optional<std::string> judge(StoreSet& backup, std::string const& copy, Places const& places) {
  backup.store = load_store(copy);
  if (!backup.is_sound()) {
    std::string const& why = backup.store.root ? backup.store.notes.front() : backup.store.failure;
    RealPaths real;
    real.add(copy, places.backup);
    return "the backup is damaged: " + real.in(why);
  }
  // A migration that was cut short while it copied has left its snapshot beside an older log. The
  // server of a running migration has seen to it at its start that the log continues the snapshot.
  uint64_t of_log = 0;
  if (!backup.files.bytes[1] || !read_log_header(*backup.files.bytes[1], of_log) ||
      of_log != backup.store.generation) {
    return "the backup is of two migrations: its log does not continue its snapshot";
  }
  return std::nullopt;
}

void put(std::string const& line) {
  std::cout << line << '\n';
}

std::string time_text(timespec const& when) {
  tm local;
  char text[32];
  strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", localtime_r(&when.tv_sec, &local));
  return text;
}

// Masks the secrets of both stores. False when there is no salt to mask them with.
bool show_changes(Key& before, Key& after) {
  std::string const salt = make_secret();
  if (salt.empty()) return false;
  Secrets const secrets;
  for (Key* const store : {&before, &after}) secrets.mask(*store, salt);
  size_t keys[3] = {};
  compare_stores(before, after, [&](KeyChange const& change) {
    keys[static_cast<size_t>(change.kind)] += change.keys;
  });
  ChangeText text(std::cout, false);
  text.put(kNoColour, "Changes in the store: " + counted(keys[0], "key", "keys") + " gained, " +
                          std::to_string(keys[1]) + " lost, " + std::to_string(keys[2]) +
                          " changed");
  compare_stores(before, after, [&](KeyChange const& change) { text.write(change); });
  return true;
}

// What can be told of files that are not the bundled server's.
void show_files(Places const& places, StoreFiles const& present, StoreFiles const& backup) {
  put("These are not the bundled server's files: what changes in the store cannot be shown.");
  for (size_t i = 0; i < std::size(kStoreFiles); ++i) {
    for (auto const& [folder, files] :
         {std::pair(places.config, &present), std::pair(places.backup, &backup)}) {
      put("  " + printable(folder + kStoreFiles[i]) + ": " +
          (files->bytes[i] ? std::to_string(files->bytes[i]->size()) + " bytes of " +
                                 time_text(files->about[i].st_mtim)
                           : "none"));
    }
  }
}

// Why it could not be shown; nothing when it was. `copy` is where the backup has been copied to.
// The present store is masked afterwards; of the backup a second one is, as the first will be
// written.
std::optional<std::string> show(Places const& places, StoreSet& present, StoreSet const& backup,
                                std::string const& copy) {
  timespec newest = {};
  for (auto const& about : backup.files.about) {
    if (about.st_ctim.tv_sec > newest.tv_sec) newest = about.st_ctim;
  }
  put("The backup in " + printable(places.backup) + ", made " + time_text(newest));
  if (!backup.store.root) {
    show_files(places, present.files, backup.files);
  } else if (!present.store.root) {
    put("It cannot be compared with the present store: " + printable(present.store.failure));
  } else {
    for (std::string const& note : present.store.notes) {
      put("The present store: " + printable(note));
    }
    LoadedStore const shown = load_store(copy);
    if (!shown.root) return shown.failure;
    if (!show_changes(*present.store.root, *shown.root)) {
      return "the system has no random bytes to mask secrets with";
    }
  }
  if (!std::cout.flush()) return "standard output cannot be written";
  return std::nullopt;
}

// Not by its bytes alone: a server's start may write the same store into new files.
bool is_same(StoreSet const& present, StoreSet const& backup) {
  if (present.files.bytes == backup.files.bytes) return true;
  return present.is_sound() && backup.store.root &&
         write_snapshot(*present.store.root, 0) == write_snapshot(*backup.store.root, 0);
}

bool is_confirmed() {
  if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1) {
    complain("nothing was changed", "there is no terminal to ask on; --yes restores unasked");
    return false;
  }
  fputs("Put this backup back? [y/N] ", stderr);
  std::string answer;
  char letter;
  while (read(STDIN_FILENO, &letter, 1) == 1 && letter != '\n') answer += letter;
  for (char const* const yes : {"y", "Y", "yes", "Yes", "YES"}) {
    if (answer == yes && ended_by == 0) return true;
  }
  complain("nothing was changed", "this was not confirmed");
  return false;
}

// A snapshot that holds all of the backup by itself, above every log that it may stand beside.
// Why it cannot be written; nothing when it was.
std::optional<std::string> make_whole(StoreSet const& backup, StoreFiles const& present,
                                      std::string const& folder) {
  uint64_t highest = backup.store.generation;
  uint64_t generation = 0;
  if (present.bytes[1] && read_log_header(*present.bytes[1], generation)) {
    highest = std::max(highest, generation);
  }
  StoreFiles whole;
  whole.bytes[0] = write_snapshot(*backup.store.root, highest + 1);
  whole.about[0] = backup.files.about[0];
  if (mkdir(folder.c_str(), 0700) != 0) return folder + ": " + strerror(errno);
  return write_files(folder, whole);
}

struct Exchanged {
  bool begun = false;     // something has been replaced
  bool is_whole = false;  // from then on, what stands there reads as the whole backup
  bool is_done = false;   // everything has been replaced
  std::string kept;       // where the former files are; empty: not yet kept

  // The files in the store's place may be of two stores.
  [[nodiscard]] bool is_mixed() const { return begun && !is_whole && !is_done; }
};

// What to tell of an exchange that failed.
std::string describe(Exchanged const& exchanged) {
  if (exchanged.kept.empty()) return "nothing was changed";
  if (!exchanged.begun) return "nothing was changed, but the files are also in " + exchanged.kept;
  return (exchanged.is_done      ? "the store is the backup's"
          : exchanged.is_mixed() ? "some files are the backup's: run this again before a server"
                                 : "the store is the backup's, though not all of its files are") +
         ("; the former files are in " + exchanged.kept);
}

// The server is gone, and comes back only after this. Why it ended early; nothing when it did not.
std::optional<std::string> exchange(Places const& places, StoreSet const& backup,
                                    PrivateFolder const& work, std::string const& copy,
                                    Exchanged& done) {
  // A bundled server that somebody starts now would refuse to: it could read half of this.
  Descriptor const folder(open(places.config.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || flock(folder.get(), LOCK_EX | LOCK_NB) != 0) {
    return errno == EWOULDBLOCK ? "a registry server still has the store open"
                                : places.config + ": " + strerror(errno);
  }
  StoreFiles present;
  if (auto why = read_files(places.config, present)) return why;
  std::string whole;
  if (backup.store.root) {
    if (auto why = make_whole(backup, present, work / "whole")) return why;
    whole = work / "whole" + kSnapshotFile;
    done.is_whole = true;
  }
  if (auto why = keep_files(present, places.config, work.path(), done.kept)) return why;

  if (auto why = put_in_place(copy, places.config, whole, done.begun)) return why;
  StoreFiles now;
  if (auto why = read_files(places.config, now)) return why;
  if (now.bytes != backup.files.bytes) return "something else was written meanwhile";
  done.is_done = true;
  return std::nullopt;
}

// The stop has failed: it may have taken the server down all the same, or do so yet.
int leave_running(HomeServer const& server, std::string const& why) {
  complain("nothing was changed, as the registry server cannot be stopped", why);
  auto const not_started = server.start();
  return not_started && !server.runs() ? complain(kNotStarted, *not_started)
                                       : complain("the registry server", "it runs");
}

// Whether a server that was stopped runs again; a line says why not.
bool start_again(HomeServer const& server, Exchanged const& done) {
  if (done.is_mixed()) {
    complain("the registry server", "it was stopped, and not started again");
    return false;
  }
  auto const not_started = server.start();
  if (not_started) complain(kNotStarted, *not_started);
  return !not_started;
}

int stop_and_exchange(HomeServer const& server, bool ran, Places const& places,
                      StoreSet const& backup, PrivateFolder const& work, std::string const& copy,
                      Exchanged& done) {
  if (auto const why = ran ? server.stop() : std::nullopt) return leave_running(server, *why);
  auto const failure = exchange(places, backup, work, copy, done);
  if (failure) complain(describe(done), *failure);
  bool const is_as_before = !ran || start_again(server, done);
  if (failure) return kFailed;
  put("The backup has been put back. What stood there before is in " + printable(done.kept));
  return is_as_before ? 0 : kFailed;
}

// With a server that ran at the end if it did at the beginning, and the store can be trusted: also
// when memory was lacking in between, and is there again now that what needed it has ended.
int restore(Places const& places, StoreSet const& backup, PrivateFolder const& work,
            std::string const& copy) {
  HomeServer const server(places.home);
  bool const ran = server.runs();
  if (ended_by != 0) {
    complain("nothing was changed", "interrupted");
    return 128 + ended_by;
  }
  Exchanged done;
  try {
    return stop_and_exchange(server, ran, places, backup, work, copy, done);
  } catch (std::exception const& error) {
    if (ran) start_again(server, done);
    return complain(describe(done), reason_of(error));
  }
}

int run(Places const& places, bool unasked) {
  if (access(places.config.c_str(), W_OK | X_OK) != 0) {
    return complain(places.config, std::string("cannot be changed: ") + strerror(errno));
  }
  RunLock const lock;
  if (auto const why = lock.error()) return complain(places.home, *why);

  StoreSet present;
  StoreSet backup;
  if (auto const why = read_files(places.config, present.files)) {
    return complain(places.home, *why);
  }
  if (auto const why = read_backup(places, present.files, backup.files)) {
    return complain(places.home, *why);
  }
  PrivateFolder const work(places.config);
  if (work.error()) return complain(places.config, "cannot be changed: " + *work.error());
  std::string const copy = work / "backup";
  if (mkdir(copy.c_str(), 0700) != 0) return complain(copy, strerror(errno));
  if (auto const why = write_files(copy, backup.files)) {
    return complain("nothing was changed, as the backup cannot be copied", *why);
  }
  if (begins_like_ours(present.files.bytes) || begins_like_ours(backup.files.bytes)) {
    if (auto const why = judge(backup, copy, places)) return complain(places.home, *why);
    present.store = load_store(places.config);
  }

  if (is_same(present, backup)) {
    put("Nothing to change: the store is what the backup holds.");
    return 0;
  }
  if (auto const why = show(places, present, backup, copy)) {
    return complain("the changes cannot be shown", *why);
  }
  if (!unasked && !is_confirmed()) return ended_by != 0 ? 128 + ended_by : kNotConfirmed;
  StoreFiles again;
  if (auto const why = read_files(places.backup, again)) return complain(places.home, *why);
  if (again.bytes != backup.files.bytes) {
    return complain(places.home, "the backup changes while it is read");
  }
  return restore(places, backup, work, copy);
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app(
      "Puts the backup that the last migration has made of a home's policy store back.\n"
      "It shows first what that changes, and asks. The present files are kept.");
  std::string home = product_home();
  bool unasked = false;
  app.add_option("--home", home, "the home whose store to restore\n(default: $ZEVA_HOME)")
      ->option_text("HOME");
  app.add_flag("--yes", unasked, "do not ask");
  if (auto const status = parse_command_line(app, argc, argv)) return *status;

  // An empty home counts: its paths begin at the root.
  std::error_code failure;
  std::string place = fs::canonical(home + "/", failure);
  if (failure || !fs::is_directory(place + "/config", failure)) {
    return complain(home, "is no home: it has no folder config");
  }
  if (place == "/") place.clear();
  setenv("ZEVA_HOME", place.c_str(), 1);  // for the lock and the service script
  unsetenv("COLUMNS");                    // by which ps would cut its lines
  note_signals();
  int const status = run({place}, unasked);
  if (!std::cout.flush() && status == 0) return complain("standard output", "cannot be written");
  return status;
} catch (std::exception const& error) {
  return complain_of(error);
}
