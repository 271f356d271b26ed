#include "package_guard.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

class PackageGuard : public testing::Test {
 protected:
  PackageGuard() {
    std::string pattern = (fs::temp_directory_path() / "zeva-guard-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
    fs::create_directory(root_ / "unpacked");
    for (char const* name :
         {"pkg", "copy", "key", "unpacked/file", "unpacked/a b", "unpacked/a\\b"}) {
      std::ofstream(root_ / name) << name;
    }
  }
  ~PackageGuard() override { fs::remove_all(root_); }

  fs::path root_;
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
    EXPECT_EQ(
        stands_in_the_way((root_.string() + "/" + test.package).c_str(), (root_ / "copy").c_str(),
                          (root_ / "key").c_str(), (root_ / "unpacked").c_str()),
        test.deleted)
        << test.package;
  }
}

TEST_F(PackageGuard, RefusesListsThatLeaveTheFolder) {
  mkfifo((root_ / "unpacked/fifo").c_str(), 0600);
  for (char const* name : {"link", " blank", "*star"}) {
    fs::create_symlink("/dev/zero", root_ / "unpacked" / name);
  }
  std::string const sum = "d41d8cd98f00b204e9800998ecf8427e";
  struct {
    std::string line;
    bool safe;
  } const cases[] = {
      {sum + "  file", true},         {sum + " *./file", true},
      {sum + "  a b\r", true},        {"\\" + sum + "  a\\\\b", true},
      {"MD5 (file) = " + sum, true},  {"a note", true},
      {sum + "  fifo", false},        {sum + "  link", false},
      {sum + "  /dev/zero", false},   {sum + "  ../pkg", false},
      {"MD5 (fifo) = " + sum, false}, {"  " + sum + "  fifo", false},
      {sum + "  missing", true},      {sum + "  -", false},
      {sum + " fifo", false},         {sum + "  blank", false},
      {sum + " *star", false},        {sum + "  missing/../pkg", false},
  };
  for (auto const& test : cases) {
    std::ofstream(root_ / "unpacked/md5.sum") << sum << "  file\n" << test.line << "\n";
    EXPECT_EQ(checksum_list_is_safe((root_ / "unpacked").c_str()), test.safe) << test.line;
  }
  fs::remove(root_ / "unpacked/md5.sum");
  EXPECT_TRUE(checksum_list_is_safe((root_ / "unpacked").c_str()));
  fs::create_symlink("/dev/zero", root_ / "unpacked/md5.sum");
  EXPECT_FALSE(checksum_list_is_safe((root_ / "unpacked").c_str()));
}

}  // namespace
