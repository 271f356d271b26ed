// Damage of every kind to the store's files, and how much must survive it.
#include "loader.h"
#include "nvreg.h"
#include "redolog.h"
#include "scratch_folder.h"
#include "snapshot.h"
#include "store.h"
#include "store_content.h"
#include "text.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>

// What the disk says to the syncing of a log.
static int sync_result = 0;
extern "C" __attribute__((visibility("default"))) int __wrap_fdatasync(int) {
  errno = EIO;
  return sync_result;
}

namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

zeva::wire::Call create(std::string const& path) {
  zeva::wire::Call call;
  call.set_action(zeva::wire::CREATE_KEY);
  call.set_path(path);
  call.set_add(true);
  return call;
}

std::string names(zeva::Key const& root) {
  std::string text;
  for (size_t i = 0; i < root.subkeys.size(); ++i) text += root.subkeys[i].name;
  return text;
}

class Damage : public testing::Test {
 protected:
  std::unique_ptr<zeva::Store> open() {
    notes_.clear();
    why_.clear();
    return zeva::Store::open(folder_.path(), notes_, why_);
  }

  // Keys a, b and c in the snapshot, d, e and f in the log, x alone in the snapshot before.
  void make_store() {
    for (auto const& entry : fs::directory_iterator(folder_.path())) fs::remove_all(entry);
    folder_.write("factory.xml", "<store version='1' generation='0'><key name='x'/></store>");
    for (char const* keys : {"abc", "def"}) {
      auto store = open();
      ASSERT_TRUE(store) << why_;
      EXPECT_TRUE(notes_.empty());
      for (char const* key = keys; *key; ++key)
        ASSERT_EQ(store->change(create(std::string(1, *key))), NVREG_OK);
    }
    folder_.write("older", zeva::empty_log(1));
    zeva::RedoLog older;
    ASSERT_EQ(older.open(folder_ / "older", 1), 0);
    ASSERT_EQ(older.append(create("g")), 0);
  }

  // Which files there are, and when something was last done to each.
  std::vector<std::array<int64_t, 3>> file_states() {
    std::vector<std::array<int64_t, 3>> states;
    for (char const* name : {"cFlt_db.xml", "cFlt_db.xml.redo", "cFlt_db.xml.bak"}) {
      struct stat about = {};
      lstat((folder_ / name).c_str(), &about);
      states.push_back(
          {static_cast<int64_t>(about.st_ino), about.st_ctim.tv_sec, about.st_ctim.tv_nsec});
    }
    return states;
  }

  ScratchFolder folder_;
  std::vector<std::string> notes_;
  std::string why_;
};

constexpr char kXml[] = "cFlt_db.xml";
constexpr char kLog[] = "cFlt_db.xml.redo";
constexpr char kBak[] = "cFlt_db.xml.bak";
constexpr size_t kLogHeader = 20;
constexpr size_t kRecord = 8 + 7;  // of a change that creates a key with a name of one letter

// What the shell commands of a case may use; the records stand at bytes 20, 35 and 50.
constexpr char kShell[] =
    "X=cFlt_db.xml L=$X.redo B=$X.bak; "
    "put() { printf \"$3\" | dd of=$1 bs=1 seek=$2 conv=notrunc 2>/dev/null; }; ";

struct Case {
  char const* damage;
  char const* commands;
  char const* survives;  // null: nothing may be guessed, the store is not opened
  size_t notes;          // how many things an administrator hears of
};

constexpr Case kCases[] = {
    {"none", ":", "xabcdef", 0},
    {"log's last byte changed", "put $L 64 '!'", "xabcde", 1},
    {"log's second record changed", "put $L 44 '!'", "xabcd", 1},
    {"log's second length of 4 GiB", "put $L 35 '\\377\\377\\377\\377'", "xabcd", 1},
    {"log with a record twice", "tail -c 15 $L >r; cat r >>$L", "xabcdef", 1},
    {"log with zeros behind it", "truncate -s 4096 $L", "xabcdef", 1},
    {"log's generation changed", "put $L 9 '!'", "xabc", 1},
    {"log missing", "rm $L", "xabc", 1},
    {"log of the snapshot before", "cp older $L", "xabc", 0},
    {"snapshot before with a newer log", "cp $B $X", "x", 1},
    {"new files not yet in place", "for f in $X $L $B; do echo '<' >$f.new; done", "xabcdef", 0},
    {"snapshot's letter changed", "sed -i 's/\"b\"/\"B\"/' $X", "x", 2},
    {"snapshot's checksum changed", "sed -i 's/crc32 ./crc32 -/' $X", "x", 2},
    {"snapshot with more behind it", "echo '<' >>$X", "x", 2},
    {"snapshot torn, another kept aside", "echo >$X.damaged-1; echo '<' >$X", "x", 2},
    {"snapshot edited", "sed -i '$d; s/<key name=\"a\"/<key name=\"e\"\\/>&/' $X", "xeabcdf", 0},
    {"snapshot missing", "rm $X", "x", 2},
    {"snapshot before damaged", "echo '<' >$B", "xabcdef", 1},
    {"snapshot before changed", "sed -i 's/\"x\"/\"X\"/' $B", "xabcdef", 1},
    {"snapshot before missing", "rm $B", "xabcdef", 0},
    {"both snapshots damaged", "echo '<' >$X; : >$B", nullptr, 0},
    {"both snapshots missing", "rm $X $B", nullptr, 0},
    {"snapshot damaged, the others missing", "echo '<' >$X; rm $L $B", nullptr, 0},
    {"snapshot before damaged, the others missing", "echo '<' >$B; rm $L $X", nullptr, 0},
    {"log with an older record", "head -c 20 $L >r; tail -c 15 older >>r; cp r $L", "xabc", 1},
    {"a folder for a snapshot", "rm $X; mkdir $X", nullptr, 0},
    {"a pipe for a log", "rm $L; mkfifo $L", nullptr, 0},
    {"a link for a log", "mv $L log; ln -s log $L", nullptr, 0},
    {"all three missing", "rm $X $L $B", "x", 0},
    {"all three missing, factory damaged", "rm $X $L $B; echo '<' >factory.xml", nullptr, 0},
};

TEST_F(Damage, CostsWhatItMustAndIsTold) {
  for (auto& [damage, commands, survives, notes] : kCases) {
    SCOPED_TRACE(damage);
    make_store();
    ASSERT_EQ(system(("cd " + folder_.path() + "; " + kShell + commands).c_str()), 0);
    auto const before = read_files(folder_.path());
    zeva::LoadedStore loaded = zeva::load_store(folder_.path());
    EXPECT_EQ(read_files(folder_.path()), before) << "reading changes no byte";
    EXPECT_EQ(loaded.notes.size(), notes);

    auto store = open();
    if (!survives) {
      EXPECT_FALSE(store);
      EXPECT_FALSE(why_.empty());
      EXPECT_EQ(read_files(folder_.path()), before) << "nothing is overwritten";
      continue;
    }
    ASSERT_TRUE(store) << why_;
    EXPECT_EQ(names(store->root()), survives);
    if (loaded.root) {
      EXPECT_EQ(names(*loaded.root), survives);
    }
    for (std::string const& path : loaded.damaged) {
      std::string const file = fs::path(path).filename();
      bool const second = before.contains(file + ".damaged-1");
      EXPECT_EQ(read_text(path + (second ? ".damaged-2" : ".damaged-1")), before.at(file));
    }
    for (auto& [file, bytes] : before) {
      uint64_t of_log;
      if (file.ends_with(kLog) && zeva::read_log_header(bytes, of_log)) {
        EXPECT_GT(zeva::load_store(folder_.path()).generation, of_log) << "none is given twice";
      }
    }
    for (auto* name : {kXml, kLog, kBak}) EXPECT_TRUE(fs::is_regular_file(folder_ / name)) << name;
    ASSERT_EQ(store->change(create("z")), NVREG_OK);
    store.reset();
    store = open();
    ASSERT_TRUE(store) << why_;
    EXPECT_EQ(names(store->root()), survives + "z"s) << "whole from here on";
    EXPECT_TRUE(notes_.empty());
  }
}

TEST_F(Damage, AStartLeavesFilesAsTheyAreThatItWouldWriteSo) {
  constexpr std::pair<char const*, bool> cases[] = {
      {":", true},
      {"sed -i '$d' $X", false},  // the checksum
      {"sed -i '$d' $B", true},
      {"chmod 644 $X", false},
      {"rm $B", false},
      {"ln $L linked", false},
      {"ln -f $X $B", false},
      {"cp -p $B $X", false},  // the log is newer
  };
  for (auto& [commands, left] : cases) {
    SCOPED_TRACE(commands);
    make_store();
    for (int i = 0; i < 2; ++i) open().reset();  // takes the log's changes into both snapshots
    ASSERT_EQ(system(("cd " + folder_.path() + "; " + kShell + commands).c_str()), 0);
    for (bool const same : {left, true}) {
      auto const before = file_states();
      auto const store = open();
      ASSERT_TRUE(store) << why_;
      EXPECT_EQ(names(store->root()), "xabcdef");
      EXPECT_EQ(file_states() == before, same);
    }
    ASSERT_EQ(open()->change(create("z")), NVREG_OK);
    EXPECT_EQ(names(open()->root()), "xabcdefz");
    for (int i = 0; i < 2; ++i) open().reset();
    folder_.write("cFlt_db.xml", "damaged");
    EXPECT_EQ(names(open()->root()), "xabcdefz") << "in the snapshot before";
  }
}

TEST_F(Damage, ALogCutAnywhereOpensToAPrefix) {
  make_store();
  std::string const log = folder_.read(kLog);
  for (size_t length = 0; length <= log.size(); ++length) {
    folder_.write(kLog, log.substr(0, length));
    zeva::LoadedStore const loaded = zeva::load_store(folder_.path());
    size_t const records = length < kLogHeader ? 0 : (length - kLogHeader) / kRecord;
    EXPECT_EQ(names(*loaded.root), "xabcdef"s.substr(0, 4 + records)) << length;
    bool const whole = length == kLogHeader + records * kRecord;
    EXPECT_EQ(loaded.notes.size(), whole ? 0u : 1u) << length;
    if (!whole && length > kLogHeader) {
      EXPECT_NE(loaded.notes[0].find("torn or still being written"), std::string::npos) << length;
    }
  }
}

// What could not be synced may be dropped although a later sync succeeds, so nothing counts any
// more.
TEST_F(Damage, AfterAFailedSyncNothingIsTaken) {
  make_store();
  auto store = open();
  ASSERT_TRUE(store);
  std::string note;
  for (char const* key : {"h", "i"}) {
    EXPECT_EQ(store->refresh(note), NVREG_OK);
    ASSERT_EQ(store->change(create(key)), NVREG_OK);
  }
  sync_result = -1;
  EXPECT_EQ(store->refresh(note), NVREG_STORE_WRITE);
  sync_result = 0;
  EXPECT_EQ(store->change(create("g")), NVREG_STORE_WRITE);
  EXPECT_EQ(store->refresh(note), NVREG_STORE_WRITE);
}

// A full disk is a limit on the size of files here.
TEST_F(Damage, AChangeThatCannotBeWrittenLeavesNothing) {
  make_store();
  auto store = open();
  ASSERT_TRUE(store);
  signal(SIGXFSZ, SIG_IGN);
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  rlimit const small{50000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(set_value(*store, "", std::string(100000, 'x')), NVREG_STORE_WRITE);
  EXPECT_EQ(zeva::write_new_file(folder_ / "half", std::string(100000, 'x')), EFBIG);
  EXPECT_FALSE(fs::exists(folder_ / "half"));
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_EQ(store->root().values.size(), 0u);
  EXPECT_EQ(store->change(create("g")), NVREG_OK) << "the disk has room again";
  EXPECT_EQ(names(*zeva::load_store(folder_.path()).root), "xabcdefg");
}

TEST_F(Damage, ASnapshotByHandIsReadOrItsLineNamed) {
  std::string const open = "<store version='1' generation='0'>\n";
  struct {
    std::string body, result;
  } const cases[] = {
      {"<!-- note -->\n<key name-hex='C3bc'/>", "\xc3\xbc"},
      {"<key name='a'/>\n<key name='a'/>", "line 3: two keys of this name"},
      {"<key name-hex='00'/>", "line 2: a name is too long or holds a NUL or a backslash"},
      {"<key name='a' name-hex=''/>", "line 2: one of the attributes name and name-hex is needed"},
      {"<key name='a' typ='x'/>", "line 2: an unknown attribute"},
      {"<value name='v' type='dword' hex='00'/>", "line 2: a value is too long or not of its type"},
      {"<value name='' type='binary' hex=''/><value name=''/>", "line 2: two values of this name"},
      {"<value name='v' type='dword'>4294967296</value>",
       "line 2: a dword is a decimal number from 0 to 4294967295"},
      {"<key name='a'>", "line 3: Start-end tags mismatch"},
      {"<key name=''/>", "line 2: a key needs a name"},
      {"<value name='v' type='x'/>", "line 2: the type is dword, string, binary or multistring"},
  };
  uint64_t generation;
  std::string why;
  for (auto& [body, result] : cases) {
    zeva::Key root;
    bool good = zeva::read_snapshot(open + body + "\n</store>", root, generation, why);
    EXPECT_EQ(good ? names(root) : why, result) << body;
  }
  zeva::Key root;
  EXPECT_FALSE(zeva::read_snapshot("<store version='2' generation='0'/>", root, generation, why));
}

// What it takes for UTF-8 is put into XML and JSON as it stands.
TEST(Text, IsUtf8InTheShortestFormOnly) {
  for (char const* good : {"\x7f", "\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf",
                           "\xee\x80\x80", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
    EXPECT_TRUE(zeva::is_utf8(good)) << testing::PrintToString(good);
  for (char const* bad :
       {"\x80", "\xc1\xbf", "\xc2", "\xe0\x9f\xbf", "\xed\xa0\x80", "\xed\xbf\xbf", "\xe1\x80",
        "\xf0\x8f\xbf\xbf", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80"})
    EXPECT_FALSE(zeva::is_utf8(bad)) << testing::PrintToString(bad);
}

}  // namespace
