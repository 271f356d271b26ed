#include "package_guard.h"

#include "scratch_folder.h"

#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

class PackageGuard : public testing::Test {
 protected:
  PackageGuard() {
    for (char const* name : {"pkg", "copy", "key", "unpacked/file"}) scratch_.write(name, name);
  }

  ScratchFolder const scratch_;
  fs::path const root_ = scratch_.path();
};

TEST_F(PackageGuard, FindsPackagesTheRunWouldDelete) {
  fs::create_symlink(root_ / "copy", root_ / "to-copy");
  fs::create_symlink(root_ / "unpacked", root_ / "to-unpacked");
  fs::create_symlink(root_ / "pkg", root_ / "unpacked/to-pkg");
  struct {
    char const* package;
    bool deleted;
  } const cases[] = {
      {"pkg", false},
      {"copy", true},
      {"key", true},
      {"to-copy", true},
      {"unpacked/file", true},
      {"./unpacked//file", true},
      {"to-unpacked/file", true},
      {"unpacked/to-pkg", true},
      {"unpacked/../pkg", false},
  };
  for (auto const& test : cases) {
    EXPECT_EQ(zeva::stands_in_the_way((root_.string() + "/" + test.package).c_str(),
                                      (root_ / "copy").c_str(), (root_ / "key").c_str(),
                                      (root_ / "unpacked").c_str()),
              test.deleted)
        << test.package;
  }
}

// What md5sum itself reads, or would wait for, is the measure.
TEST_F(PackageGuard, RefusesListsThatCanBlock) {
  mkfifo((root_ / "unpacked/fifo").c_str(), 0600);
  fs::create_symlink("/dev/zero", root_ / "unpacked/link");
  fs::create_symlink("../pkg", root_ / "unpacked/outside");
  fs::create_symlink("pkg", root_ / "theirs");
  if (lchown((root_ / "theirs").c_str(), 65534, 65534) != 0) fs::remove(root_ / "theirs");
  fs::create_directory(root_ / "open");
  fs::permissions(root_ / "open", fs::perms::owner_all | fs::perms::group_all);
  fs::create_symlink("../open/none", root_ / "unpacked/dangling");
  fs::create_symlink("round", root_ / "unpacked/round");
  alarm(60);  // a way without end ends here
  for (auto const& [name, more] : {std::pair("half", 1), std::pair("other half", -1)}) {
    std::ofstream(root_ / "unpacked" / name).close();
    fs::resize_file(root_ / "unpacked" / name, static_cast<uintmax_t>((intmax_t{8} << 30) + more));
  }
  std::string const sum = "d41d8cd98f00b204e9800998ecf8427e";
  std::string const much(40000, ' ');
  struct {
    std::string lines;
    bool safe;
  } const cases[] = {
      {sum + "  file", true},
      {sum + "  missing", true},
      {sum + "  outside", true},
      {sum + "  " + root_.string() + "/pkg", true},
      {sum + "  .", true},
      {sum + "  half", true},
      {sum + "  fifo", false},
      {sum + "  link", false},
      {sum + "  /dev/zero", false},
      {sum + "  /proc/self/status", false},
      {sum + "  round", true},
      {sum + "  missing/../fifo", true},
      {sum + "  ./../unpacked/fifo", false},
      {sum + "  -", false},
      // What another user can change.
      {sum + "  ../theirs", !fs::is_symlink(root_ / "theirs")},
      {sum + "  ../open/../pkg", true},
      {sum + "  dangling", false},
      {sum + "  /tmp/none of this name", false},
      {sum + "  half\n" + sum + "  other half", true},
      {sum + "  half\n" + sum + "  other half\n" + sum + "  file", false},
      // Lines that are longer than any path.
      {much + sum + "  fifo", false},
      {sum + "  fifo" + std::string(1, '\0') + much, false},
      {"MD5 (fifo)" + much + "= " + sum, false},
      {sum + "  fifo" + much, true},
  };
  for (auto const& test : cases) {
    std::ofstream(root_ / "unpacked/md5.sum") << test.lines << "\n";
    EXPECT_EQ(zeva::checksum_list_is_safe((root_ / "unpacked").c_str()), test.safe) << test.lines;
  }
  alarm(0);
}

TEST_F(PackageGuard, RefusesAListThatBlocksOrIsEndless) {
  fs::path const list = root_ / "unpacked/md5.sum";
  EXPECT_TRUE(zeva::checksum_list_is_safe((root_ / "unpacked").c_str()));
  for (char const* target : {"/dev/zero", "/tmp/none of this name", "file"}) {
    fs::create_symlink(target, list);
    EXPECT_EQ(zeva::checksum_list_is_safe((root_ / "unpacked").c_str()), target[0] != '/')
        << target;
    fs::remove(list);
  }
  std::ofstream(list).close();
  fs::resize_file(list, (uintmax_t{256} << 20) + 1);
  EXPECT_FALSE(zeva::checksum_list_is_safe((root_ / "unpacked").c_str()));
  fs::remove(list);
  mkfifo(list.c_str(), 0600);
  EXPECT_FALSE(zeva::checksum_list_is_safe((root_ / "unpacked").c_str()));
}

}  // namespace
