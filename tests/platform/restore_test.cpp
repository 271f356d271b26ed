// The migration's way with the store: plain copies of three files while the server runs, put back
// over the running server's on a failure, the server stopped after that.
#include "loader.h"
#include "nvreg.h"
#include "registry_client.h"
#include "scratch_home.h"
#include "store.h"
#include "store_content.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>
#include <span>
#include <string_view>

// Called before each call that changes files or waits for the disk, with its name; a write stops
// once more before its last byte.
static std::function<void(std::string_view)> on_step;

// Visible, because the linker takes the calls of shared libraries for wrapped ones too.
#pragma GCC visibility push(default)
extern "C" {
int __real_fsync(int);
int __real_rename(char const*, char const*);
ssize_t __real_write(int, void const*, size_t);
int __wrap_fsync(int);
int __wrap_rename(char const*, char const*);
ssize_t __wrap_write(int, void const*, size_t);
}
#pragma GCC visibility pop
int __wrap_fsync(int fd) {
  if (on_step) on_step("fsync");
  return __real_fsync(fd);
}
int __wrap_rename(char const* from, char const* to) {
  if (on_step) on_step("rename");
  return __real_rename(from, to);
}
ssize_t __wrap_write(int fd, void const* bytes, size_t length) {
  if (on_step) on_step("write");
  return __real_write(fd, bytes, on_step && length > 1 ? length - 1 : length);
}

namespace {

namespace fs = std::filesystem;

constexpr char const* kFiles[] = {"cFlt_db.xml", "cFlt_db.xml.redo", "cFlt_db.xml.bak"};

class Restore : public testing::Test {
 protected:
  Restore() { home_.start(); }

  using Files = std::span<char const* const>;
  void copy(std::string const& from, std::string const& to, Files files = kFiles) {
    for (char const* name : files) {
      std::string const command = "cp -pf '" + from + "/" + name + "' '" + to + "/" + name + "'";
      ASSERT_EQ(system(command.c_str()), 0) << command;
    }
  }
  void back_up() {
    fs::create_directory(backup_);
    copy(config_, backup_);
  }
  void restore() { copy(backup_, config_); }

  std::string restarted() {
    home_.stop();
    zeva::LoadedStore loaded = zeva::load_store(config_);
    EXPECT_TRUE(loaded.root) << loaded.failure;
    home_.start();
    std::string const text = to_text(RegistryClient(home_.address()).contents());
    EXPECT_EQ(to_text(*loaded.root), text);
    return text;
  }

  // Big enough for a refresh to write a snapshot.
  static void outgrow_the_log(RegistryClient& client) {
    for (char const* name : {"1", "2", "3", "4", "5", "6"})
      ASSERT_EQ(client.set("registry", name, NVREG_BINARY, std::string(1 << 20, 'x')), NVREG_OK);
  }

  // A server in a process of its own that makes its first store and, if it has to, goes on to write
  // a new snapshot over that. False when it ended before the kill, which is before the step-th call
  // of on_step in what it does last.
  bool killed_at(int step, bool in_refresh) {
    home_.stop();
    for (char const* name : kFiles) fs::remove(home_.config(name));
    pid_t const server = fork();
    if (server == 0) {
      std::vector<std::string> notes;
      std::string why;
      auto die = [&](std::string_view) {
        if (--step == 0) raise(SIGKILL);
      };
      if (!in_refresh) on_step = die;
      auto store = zeva::Store::open(config_, notes, why);
      for (char const* data : {"1", "2", "3", "4", "5"})
        if (in_refresh && set_value(*store, "v", data + std::string(1000000, 'x')) < 0) _exit(1);
      on_step = die;
      _exit(store->refresh(why));
    }
    int status = -1;
    EXPECT_EQ(waitpid(server, &status, 0), server);
    EXPECT_TRUE(status == SIGKILL || status == 0);
    return status == SIGKILL;
  }

  ScratchHome home_;
  std::string const config_ = home_.path() + "/config";
  std::string const backup_ = config_ + "/backup";
};

// A client that goes on after the restore cannot spoil it.
TEST_F(Restore, BringsBackExactlyWhatWasThere) {
  for (bool with_snapshot : {false, true}) {
    RegistryClient client(home_.address());
    ASSERT_EQ(client.create("kept"), NVREG_OK);
    std::string const before = to_text(client.contents());
    back_up();
    ASSERT_EQ(client.erase("registry\\policy"), NVREG_OK);
    if (with_snapshot) outgrow_the_log(client);
    ASSERT_EQ(client.refresh(), NVREG_OK);
    ASSERT_EQ(client.create("more"), NVREG_OK);
    restore();
    EXPECT_EQ(client.create("stray"), NVREG_STORE_DAMAGED);
    EXPECT_EQ(client.refresh(), NVREG_STORE_DAMAGED);
    EXPECT_EQ(client.on_key("registry", [](auto*, auto*) {}), NVREG_OK) << "reading goes on";
    EXPECT_EQ(restarted(), before) << with_snapshot;
  }
}

// Whichever wait for the disk of a refresh it falls into, and when only its first copy does.
TEST_F(Restore, WinsOverASnapshotBeingWritten) {
  for (int round = 0; round < 10; ++round) {
    SCOPED_TRACE(round);
    int const wait = round % 5 + 1;
    bool const first_alone = round >= 5;
    home_.stop();
    std::vector<std::string> notes;
    std::string why;
    auto store = zeva::Store::open(config_, notes, why);
    ASSERT_TRUE(store) << why;
    ASSERT_EQ(set_value(*store, "kept", std::to_string(wait)), NVREG_OK);
    std::string const before = to_text(store->root());
    back_up();
    for (char const* name : {"1", "2", "3", "4", "5", "6"})
      ASSERT_EQ(set_value(*store, name, std::string(1 << 20, 'x')), NVREG_OK);
    int waits = 0;
    on_step = [&](std::string_view call) {
      if (call != "fsync" || ++waits != wait) return;
      first_alone ? copy(backup_, config_, Files(kFiles).first(1)) : restore();
    };
    (void)store->refresh(why);
    on_step = nullptr;
    EXPECT_GE(waits, wait);
    if (first_alone) copy(backup_, config_, Files(kFiles).subspan(1));
    EXPECT_LT(set_value(*store, "stray", ""), 0);
    EXPECT_FALSE(fs::exists(config_ + "/cFlt_db.xml.redo.new"));
    store.reset();
    EXPECT_EQ(restarted(), before);
  }
}

TEST_F(Restore, ANewSnapshotThatCannotBeWrittenIsReportedAndCostsNothing) {
  RegistryClient client(home_.address());
  fs::create_directory(home_.config("cFlt_db.xml.new"));
  outgrow_the_log(client);
  EXPECT_EQ(client.refresh(), NVREG_OK);
  EXPECT_NE(home_.reports().find("no new snapshot: "), std::string::npos);
}

// Whatever of a first store or a new snapshot was in place by then: the server starts and has lost
// nothing, and an older set that is copied over what it left is the store.
TEST_F(Restore, IsExactWhereverTheServerWasKilled) {
  {
    RegistryClient client(home_.address());
    ASSERT_EQ(client.create("older"), NVREG_OK);
    back_up();
  }
  std::string const older = restarted();
  for (bool in_refresh : {false, true}) {
    ASSERT_FALSE(killed_at(0, in_refresh));
    std::string const newer = restarted();
    int steps = 0;
    for (bool killed = true; killed; ++steps) {
      for (bool restored : {false, true}) {
        SCOPED_TRACE("step " + std::to_string(steps) + (in_refresh ? " of a refresh" : ""));
        killed = killed_at(steps + 1, in_refresh);
        std::set<ino_t> files;
        struct stat about;
        for (char const* name : kFiles)
          EXPECT_TRUE(stat(home_.config(name).c_str(), &about) != 0 ||
                      files.insert(about.st_ino).second)
              << name;
        if (restored) restore();
        home_.start();
        EXPECT_TRUE(to_text(RegistryClient(home_.address()).contents()) ==
                    (restored ? older : newer));
      }
    }
    EXPECT_GT(steps, 10);
  }
}

// The log's bytes are those of before, but the server's own file has no name any more.
TEST_F(Restore, AnotherFileOfTheSameBytesIsNoticed) {
  RegistryClient client(home_.address());
  ASSERT_EQ(client.create("kept"), NVREG_OK);
  back_up();
  fs::remove(home_.config("cFlt_db.xml.redo"));
  restore();
  EXPECT_EQ(client.create("stray"), NVREG_STORE_DAMAGED);
}

// Once somebody has had the log open for writing it is the server's no more, whatever he wrote, and
// while he has it open it is looked at. Who only reads is let be.
TEST_F(Restore, WhoWritesToTheLogIsNoticed) {
  std::string const log = home_.config("cFlt_db.xml.redo");
  zeva::Descriptor opened;
  struct {
    char const* what;
    std::function<void(RegistryClient&)> work;
    bool harmless;
  } const cases[] = {
      {"reads", [&](auto&) { read_text(log); }, true},
      {"copies the same bytes over it",
       [&](auto&) {
         back_up();
         copy(backup_, config_, Files(kFiles).subspan(1, 1));
       },
       false},
      {"opens it, and cuts it after another change",
       [&](RegistryClient& client) {
         opened = zeva::Descriptor(open(log.c_str(), O_WRONLY));
         ASSERT_EQ(client.create("between"), NVREG_OK);
         ASSERT_EQ(ftruncate(opened.get(), static_cast<off_t>(fs::file_size(log)) - 1), 0);
       },
       false},
      {"cuts it by its name", [&](auto&) { fs::resize_file(log, fs::file_size(log) - 1); }, false},
      {"moves the home", [&](auto&) { fs::rename(home_.path(), home_.path() + "-old"); }, false}};
  for (auto& [what, work, harmless] : cases) {
    home_.stop();
    home_.start();
    RegistryClient client(home_.address());
    ASSERT_EQ(client.create(what), NVREG_OK);
    work(client);
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(client.set("registry", "after", NVREG_BINARY, ""),
                harmless ? NVREG_OK : NVREG_STORE_DAMAGED)
          << what;
  }
  fs::rename(home_.path() + "-old", home_.path());
  EXPECT_NE(home_.reports().find("start the server again"), std::string::npos);
}

// Another one of the same length: a start that changes nothing keeps the generation.
TEST_F(Restore, AnotherLogOfTheSameGenerationIsNoticed) {
  std::string const fresh = config_ + "/fresh";
  fs::create_directory(fresh);
  copy(config_, fresh);
  ASSERT_EQ(RegistryClient(home_.address()).create("one"), NVREG_OK);
  back_up();
  home_.stop();
  copy(fresh, config_);
  home_.start();
  RegistryClient client(home_.address());
  ASSERT_EQ(client.create("two"), NVREG_OK);
  copy(backup_, config_, Files(kFiles).subspan(1, 1));
  EXPECT_EQ(client.create("stray"), NVREG_STORE_DAMAGED);
}

}  // namespace
