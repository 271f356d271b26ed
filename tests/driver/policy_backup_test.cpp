// The net under the importers, over real files and the real cp: what is copied, held, put back and
// brought to the disk, and in which order.

#include "policy_backup.h"

#include "quiet_output.h"
#include "run_log.h"
#include "runlog.h"
#include "scratch_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <regex>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using ::testing::ElementsAre;

namespace {

std::vector<std::string> events;
std::string failing_copies;  // matched with "SOURCE>TARGET", below the config folder

std::string shortened(std::string const& text) {
  return std::regex_replace(text, std::regex("(/tmp/zeva-test-\\w+/config/?|cFlt_db\\.)"), "");
}

}  // namespace

extern "C" int __real_system(char const* command);
extern "C" int __real_fsync(int fd);

extern "C" int __wrap_system(char const* command) {
  std::smatch names;
  std::string const text = shortened(command);
  if (!std::regex_match(text, names, std::regex("cp -pf '(.*)' '(.*)'")))
    return __real_system(command);
  std::string const copy = names[1].str() + ">" + names[2].str();
  events.push_back(copy);
  bool const fails = !failing_copies.empty() && copy.find(failing_copies) != copy.npos;
  // A full disk takes the first bytes.
  std::string const half =
      std::regex_replace(command, std::regex("cp -pf (.*) (.*)"), "head -c 1 $1 > $2; exit 1");
  return __real_system(fails ? half.c_str() : command);
}

extern "C" int __wrap_fsync(int fd) {
  fs::path const path = fs::read_symlink("/proc/self/fd/" + std::to_string(fd));
  events.push_back("sync " + shortened(path.string()));
  return __real_fsync(fd);
}

namespace {

using Files = std::map<std::string, std::string>;

class PolicyBackup : public testing::Test {
 protected:
  PolicyBackup() {
    fs::create_directories(config_);
    setenv("ZEVA_HOME", root_.c_str(), 1);
    SetDebugLogFileName((root_ / "log").c_str());
  }

  static void write(fs::path const& folder, Files const& files) {
    for (auto const& [name, text] : files) std::ofstream(folder / ("cFlt_db." + name)) << text;
  }

  static Files read(fs::path const& folder) {
    Files files;
    for (auto const& entry : fs::directory_iterator(folder)) {
      if (!entry.is_regular_file()) continue;
      files[shortened(entry.path().filename().string())] = read_text(entry.path());
    }
    return files;
  }

  QuietOutput quiet_;
  ScratchFolder const scratch_;
  fs::path const root_ = scratch_.path(), config_ = root_ / "config";
};

std::string const kSnapshot(50000, 's');
Files const kStore = {
    {"xml", kSnapshot + "t"}, {"xml.redo", ""}, {"xml.bak", std::string(50000, 'b')}};
Files const kHalfImported = {{"xml", "x"}, {"xml.redo", "changes"}, {"xml.bak", "y"}};

struct Case {
  char const* name;
  Files before = kStore;
  char const* failing_backups = nullptr;   // the copies that fail while backing up
  char const* lost_backup = nullptr;       // a copy that is gone when it is needed
  char const* failing_restores = nullptr;  // the copies that fail while putting back
  Files backups = kStore;
  char const* in_the_way = "true";  // a shell command in the backup folder
};

Files const kNewGateway = {{"xml", kSnapshot + "t"}, {"xml.redo", "r"}};
Files without(Files files, char const* name) {
  files.erase(name);
  return files;
}

Case const kCases[] = {
    {.name = "NewGateway", .before = kNewGateway, .backups = kNewGateway},
    {.name = "AllGoesWell"},
    {.name = "NoCopyWorks", .failing_backups = ">backup/", .backups = {}},
    {.name = "OneCopyFails",
     .failing_backups = "xml.redo>",
     .backups = without(kStore, "xml.redo")},
    {.name = "CopyGoneWhenNeeded", .lost_backup = "backup/cFlt_db.xml"},
    {.name = "PipeForCopy", .in_the_way = "mkfifo cFlt_db.xml"},
    {.name = "FolderForCopy",
     .backups = without(kStore, "xml"),
     .in_the_way = "mkdir -p cFlt_db.xml/folder"},
    {.name = "NoRestoreWorks", .failing_restores = "backup/"},
};

TEST_F(PolicyBackup, PutsBackWhateverFails) {
  for (Case const& test : kCases) {
    SCOPED_TRACE(test.name);
    fs::remove_all(config_);
    fs::create_directory(config_);
    write(config_, test.before);
    failing_copies = test.failing_backups ? test.failing_backups : "";
    fs::create_directory(config_ / "backup");
    fs::current_path(config_ / "backup");
    ASSERT_EQ(system(test.in_the_way), 0);
    ASSERT_EQ(zeva::back_up_policy_files(), 0);
    EXPECT_EQ(read(config_ / "backup"), test.backups);

    write(config_, kHalfImported);
    if (!test.before.contains("xml.bak")) fs::remove(config_ / "cFlt_db.xml.bak");
    if (test.lost_backup) fs::remove(config_ / test.lost_backup);
    failing_copies = test.failing_restores ? test.failing_restores : "";
    zeva::restore_policy_files();
    EXPECT_EQ(read(config_), test.before);

    // The server's last refresh comes after it.
    write(config_, {{"xml", kSnapshot + "T"}, {"xml.redo", test.before.at("xml.redo") + "more"}});
    zeva::check_restored_policy_files();
    EXPECT_EQ(read(config_), test.before);
  }
  EXPECT_THAT(logged_messages(root_ / "log"), testing::Each(testing::EndsWith("policy files...")));
}

TEST_F(PolicyBackup, IsOnTheDiskBeforeTheRunGoesOn) {
  write(config_, kStore);
  events.clear();
  ASSERT_EQ(zeva::back_up_policy_files(), 0);
  EXPECT_THAT(events, ElementsAre("xml>backup/xml", "sync backup/xml", "xml.redo>backup/xml.redo",
                                  "sync backup/xml.redo", "xml.bak>backup/xml.bak",
                                  "sync backup/xml.bak", "sync backup", "sync "));
  zeva::sync_debug_log();
  EXPECT_THAT(events.back(), testing::EndsWith("/log"));
  events.clear();
  zeva::restore_policy_files();
  std::vector<std::string> const put_back = {"backup/xml>xml",
                                             "sync xml",
                                             "backup/xml.redo>xml.redo",
                                             "sync xml.redo",
                                             "backup/xml.bak>xml.bak",
                                             "sync xml.bak",
                                             "sync "};
  EXPECT_EQ(events, put_back);
  events.clear();
  write(config_, kHalfImported);
  zeva::check_restored_policy_files();
  EXPECT_EQ(events, put_back);
}

TEST_F(PolicyBackup, SaysWhatItCannotDo) {
  write(config_, kStore);
  ASSERT_EQ(zeva::back_up_policy_files(), 0);
  fs::remove(config_ / "cFlt_db.xml");
  fs::create_directories(config_ / "cFlt_db.xml/in the way");
  zeva::restore_policy_files();
  zeva::check_restored_policy_files();
  std::string const path = (config_ / "cFlt_db.xml").string();
  EXPECT_THAT(logged_messages(root_ / "log"),
              ElementsAre("Backup policy files...", "Restore backuped policy files...",
                          "Error [372]: restore " + path + " failed."));

  // Nothing may be imported over what cannot be put back.
  fs::remove(root_ / "log");
  EXPECT_EQ(zeva::back_up_policy_files(), -16);
  EXPECT_THAT(logged_messages(root_ / "log"),
              ElementsAre("Backup policy files...", "Error [349]: backup " + path + " failed."));
}

}  // namespace
