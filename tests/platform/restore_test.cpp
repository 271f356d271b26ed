// The migration's way with the store: plain copies of three files while the server runs, put back
// over the running server's on a failure, the server stopped after that.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <functional>

#include "loader.h"
#include "nvreg.h"
#include "registry_client.h"
#include "scratch_home.h"
#include "store.h"
#include "tree_text.h"

static std::function<void()> on_fsync;

extern "C" int __real_fsync(int);
extern "C" int __wrap_fsync(int fd);
int __wrap_fsync(int fd) {
  if (on_fsync) on_fsync();
  return __real_fsync(fd);
}

namespace {

namespace fs = std::filesystem;

class Restore : public testing::Test {
 protected:
  Restore() { home_.start(); }

  void copy(std::string const& from, std::string const& to) {
    for (char const* name : {"cFlt_db.xml", "cFlt_db.xml.redo", "cFlt_db.xml.bak"}) {
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

// Whichever wait for the disk of a refresh it falls into.
TEST_F(Restore, WinsOverASnapshotBeingWritten) {
  for (int wait = 1; wait <= 4; ++wait) {
    SCOPED_TRACE(wait);
    home_.stop();
    std::vector<std::string> notes;
    std::string why;
    auto store = zeva::Store::open(config_, notes, why);
    ASSERT_TRUE(store) << why;
    auto set = [&](std::string const& name, std::string const& data) {
      zeva::wire::Call call;
      call.set_action(zeva::wire::SET_VALUE);
      call.set_type(NVREG_BINARY);
      call.set_name(name);
      call.set_data(data);
      return store->change(call);
    };
    ASSERT_EQ(set("kept", std::to_string(wait)), NVREG_OK);
    std::string const before = to_text(store->root());
    back_up();
    for (char const* name : {"1", "2", "3", "4", "5", "6"})
      ASSERT_EQ(set(name, std::string(1 << 20, 'x')), NVREG_OK);
    int waits = 0;
    on_fsync = [&] {
      if (++waits == wait) restore();
    };
    (void)store->refresh(why);
    on_fsync = nullptr;
    EXPECT_GE(waits, wait);
    EXPECT_LT(set("stray", ""), 0);
    EXPECT_FALSE(fs::exists(config_ + "/cFlt_db.xml.redo.new"));
    store.reset();
    EXPECT_EQ(restarted(), before);
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

}  // namespace
