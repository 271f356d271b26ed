#include <gmock/gmock.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "command.h"
#include "package_key.h"
#include "work_folder.h"

namespace {

using testing::EndsWith;

// Runs zeva-pack in the folder; commands of the test's own there, in bin, come before the real
// ones.
zeva::CommandResult pack(WorkFolder const& work, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(),
                   {"env", "PATH=" + (work / "bin") + ":" RC4_FOLDER ":" + getenv("PATH"), PACK});
  return zeva::run_command({arguments, work / "", {}});
}

int shell(WorkFolder const& work, std::string const& line) {
  return zeva::run_command({{"sh", "-c", line}, work / "", {}}).exit_status;
}

char const* const kOddNames[] = {"globalPolicy.txt",
                                 "-",
                                 "--help",
                                 "sub/a b'\"$(x).txt",
                                 "new\nline",
                                 "back\\sl",
                                 "cr\r",
                                 "\xFF",
                                 "*",
                                 "sub/x/y/z",
                                 "tr\\ailing\\"};

TEST(Pack, OpensAgainWithTheCommandsOfTheMigration) {
  WorkFolder work;
  for (std::string const name : kOddNames) work.write("in/" + name, "content of " + name);
  work.write("in/empty", "");
  work.write("in/md5.sum", "an old list");
  work.write("key", {kPackageKey.begin(), kPackageKey.end()});
  chmod((work / "in").c_str(), 0700);

  ASSERT_EQ(pack(work, {"in", "one.pkg"}).error, "");
  ASSERT_EQ(pack(work, {work / "in/", work / "two.pkg"}).exit_status, 0);
  EXPECT_EQ(work.read("one.pkg"), work.read("two.pkg"));
  EXPECT_EQ(work.read("in/md5.sum"), "an old list");
  EXPECT_EQ(shell(work, "test $(stat -c %a one.pkg) = 600"), 0);

  ASSERT_EQ(shell(work, RC4_FOLDER "/rc4 -dec -in one.pkg -key key; mkdir -m 755 out"), 0);
  ASSERT_EQ(shell(work, "cd out && tar zxf ../one.pkg && md5sum --strict -c md5.sum"), 0);
  EXPECT_EQ(shell(work, "diff -r -x md5.sum in out"), 0);
  EXPECT_EQ(shell(work, "test $(stat -c %a out) = 755"), 0);
  // Every file is listed: a change to any of them is found.
  for (std::string const name : kOddNames) {
    work.write("out/" + name, "changed");
    EXPECT_EQ(shell(work, "cd out && md5sum -c md5.sum"), 1) << name;
    work.write("out/" + name, "content of " + name);
  }
}

TEST(Pack, ListsFilesInManyCalls) {
  WorkFolder work;
  for (int i = 0; i < 1000; ++i) {
    work.write("in/" + std::to_string(i) + std::string(200, 'n'), std::to_string(i));
  }
  work.write("key", {kPackageKey.begin(), kPackageKey.end()});
  ASSERT_EQ(pack(work, {"in", "pkg"}).exit_status, 0);
  ASSERT_EQ(shell(work, RC4_FOLDER "/rc4 -dec -in pkg -key key; mkdir out"), 0);
  ASSERT_EQ(shell(work, "cd out && tar zxf ../pkg && md5sum -c md5.sum"), 0);
  EXPECT_EQ(shell(work, "test $(wc -l < out/md5.sum) = 1000"), 0);
}

TEST(Pack, BadInputLeavesNothingBehind) {
  WorkFolder work;
  work.write("in/file", "content");
  work.write("there.pkg", "keep");
  work.write("list/md5.sum/x", "");
  std::filesystem::create_directories(work / "hollow/sub");
  std::filesystem::create_directories(work / "linked");
  std::filesystem::create_symlink("/etc/passwd", work / "linked/\033[31mpasswd");
  std::filesystem::create_directories(work / "odd");
  mkfifo((work / "odd/fifo").c_str(), 0600);
  std::string const here = work / "";

  struct Case {
    std::vector<std::string> arguments;
    int exit_status;
    std::string error;
  };
  for (Case const& c : {
           Case{{}, 2, "FOLDER is required: see --help"},
           Case{{"gone", "pkg"}, 1, "gone: cannot be read: No such file or directory"},
           Case{{"in/file", "pkg"}, 1, "in/file: is not a folder"},
           Case{{"hollow", "pkg"}, 1, here + "hollow: holds no files to pack"},
           Case{{"list", "pkg"},
                1,
                here + "list/md5.sum: is a folder; the package's checksums go by this name"},
           Case{{"linked", "pkg"},
                1,
                here + "linked/\\x1b[31mpasswd: is a link; a package holds files and folders only"},
           Case{{"odd", "pkg"},
                1,
                here + "odd/fifo: is neither a file nor a folder; a package holds nothing else"},
           Case{
               {"in", "there.pkg"}, 1, "there.pkg: exists already; remove it or name another file"},
           Case{{"in", "no/pkg"}, 1, "no/pkg: cannot be made: No such file or directory"},
           Case{{"/", "pkg"}, 1, "pkg: lies in the folder to pack; name a place outside"},
           Case{{"in", "in/pkg"}, 1, "in/pkg: lies in the folder to pack; name a place outside"},
       }) {
    auto const before = work.names();
    auto const result = pack(work, c.arguments);
    EXPECT_EQ(result.exit_status, c.exit_status);
    EXPECT_EQ(result.error, "zeva-pack: " + c.error + "\n");
    EXPECT_EQ(work.names(), before);
  }
  EXPECT_EQ(work.read("there.pkg"), "keep");
}

TEST(Pack, AFailingOrInterruptedStepLeavesNothingBehind) {
  struct Case {
    char const *command, *script, *error;
    int exit_status;
    char const* there;  // in the package's place at the end
  };
  for (Case const& c :
       {Case{"md5sum", "echo 'md5sum: no' >&2; exit 1", "md5sum: no", 1, ""},
        Case{"tar", "exit 2", "tar ended with status 2", 1, ""},
        Case{"tar", "kill -TERM $PPID; sleep 600", "interrupted", 128 + SIGTERM, ""},
        Case{"rc4", "kill -INT $PPID; sleep 600 & wait", "interrupted", 128 + SIGINT, ""},
        Case{"rc4", "stat -c %a $3 >&2; exit 1", "600", 1, ""},
        Case{"rc4", "printf theirs > pkg", "pkg: cannot be made: File exists", 1, "theirs"}}) {
    WorkFolder work;
    work.write("in/misc.txt", "content");
    work.write(std::string("bin/") + c.command, std::string("#!/bin/sh\n") + c.script + "\n");
    chmod((work / "bin/" + c.command).c_str(), 0755);
    auto before = work.names();
    auto const result = pack(work, {"in", "pkg"});
    EXPECT_THAT(result.error, EndsWith(std::string(": ") + c.error + "\n"));
    EXPECT_EQ(result.exit_status, c.exit_status);
    EXPECT_EQ(work.read("pkg"), c.there);
    if (c.there[0] != '\0') before.insert("pkg");
    EXPECT_EQ(work.names(), before);
  }
}

}  // namespace
