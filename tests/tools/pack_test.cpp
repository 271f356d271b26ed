#include "package_key.h"
#include "work_folder.h"

#include <gmock/gmock.h>

namespace {

using testing::EndsWith;

// Runs zeva-pack in the folder; commands of the test's own there, in bin, come before the real
// ones.
zeva::CommandResult pack(WorkFolder const& work, std::string const& arguments) {
  return work.sh("PATH=$PWD/bin:" RC4_FOLDER ":$PATH; exec " PACK " " + arguments);
}

char const* const kOddNames[] = {
    "globalPolicy.txt", "-",    "--help", "sub/a b'\"$(x).txt", "new\nline",
    "back\\sl",         "cr\r", "\xFF",   "sub/x/y/z",          "tr\\ailing\\",
    "sub/md5.sum"};

std::string const kLong(200, 'n');  // of so many md5sum takes no more than some hundred at a time

TEST(Pack, OpensAgainWithTheCommandsOfTheMigration) {
  WorkFolder work;
  for (std::string const name : kOddNames) work.write("in/" + name, "content of " + name);
  for (int i = 0; i < 600; ++i) work.write("in/many/" + std::to_string(i) + kLong, "");
  work.write("in/empty", "");
  work.write("in/md5.sum", "an old list");
  work.write("key", {zeva::kPackageKey.begin(), zeva::kPackageKey.end()});

  work.sh(
      "mkdir in2; find in -exec touch -d @100 {} +; touch -d @200 in/empty; "
      "ln in/empty in/twin; [ $(id -u) != 0 ] || chown 9 in/empty");
  ASSERT_EQ(work.sh("chmod 700 in").error, "");
  ASSERT_EQ(pack(work, "in one.pkg").error, "");
  ASSERT_EQ(pack(work, "\"$PWD/in/\" \"$PWD/in2/two.pkg\"").exit_status, 0);
  EXPECT_EQ(work.read("one.pkg"), work.read("in2/two.pkg"));
  EXPECT_EQ(work.read("in/md5.sum"), "an old list");
  auto const opened = work.sh("set -e; stat -c %a one.pkg; " RC4_FOLDER
                              "/rc4 -dec -in one.pkg -key key; mkdir -m 755 out; cd out; "
                              "tar zxf ../one.pkg; md5sum --quiet --strict -c md5.sum; "
                              "diff -r -x md5.sum ../in .; stat -c %a .; stat -c '%a %Y' md5.sum; "
                              "find . -type f -links +1 -o ! -uid $(id -u); export LC_ALL=C; "
                              "sed 's/^[^ ]*  //' md5.sum | sort -c; tar tf ../one.pkg "
                              "--exclude='*[!-a-zA-Z0-9._/]*' | tail -n +2 | sort -c");
  ASSERT_EQ(opened.output + opened.error, "600\n755\n644 200\n");
  // Every file is listed: a change to any of them is found.
  for (std::string const name : kOddNames) {
    work.write("out/" + name, "changed");
    EXPECT_EQ(work.sh("cd out && md5sum -c md5.sum").exit_status, 1) << name;
    work.write("out/" + name, "content of " + name);
  }
}

TEST(Pack, BadInputLeavesNothingBehind) {
  WorkFolder work;
  std::string const here = work / "";
  for (std::string const file :
       {"in/misc.txt", "there.pkg", "list/md5.sum/x", "list/misc.txt", "linked/misc.txt",
        "odd/misc.txt", "up/\033/misc.txt", "in/tasks/x"})
    work.write(file, "keep");
  work.write("linked/\033[31mpasswd", "");
  work.sh("mkdir -p no/misc.txt; ln -sf /etc/passwd linked/*passwd; mkfifo odd/fifo");

  std::string const no_export =
      ": holds no export file at its top, none of actionFile.txt excepton.txt scanlimit.txt "
      "quarantine.txt globalPolicy.txt xfilter.txt address.txt misc.txt";
  struct Case {
    std::string arguments;
    std::string error;
    int exit_status = 1;
  };
  for (Case const& c : {
           Case{"", "FOLDER is required: see --help", 2},
           Case{"in pkg c -d -- e", "not expected: c -d e: see --help", 2},
           Case{"gone pkg", "gone: cannot be read: No such file or directory"},
           Case{"in/misc.txt pkg", "in/misc.txt: is not a folder"},
           Case{"no pkg", here + "no" + no_export},
           Case{"up pkg", here + "up" + no_export + "; " + here + "up/\\x1b does"},
           Case{"in/tasks pkg", here + "in/tasks" + no_export + "; " + here + "in does"},
           Case{"list pkg",
                here + "list/md5.sum: is a folder; the package's checksums go by this name"},
           Case{"linked pkg",
                here + "linked/\\x1b[31mpasswd: is a link; a package holds files and folders only"},
           Case{"odd pkg",
                here + "odd/fifo: is neither a file nor a folder; a package holds nothing else"},
           Case{"in there.pkg", "there.pkg: exists already; remove it or name another file"},
           Case{"in no/gone/pkg", "no/gone/pkg: cannot be made: No such file or directory"},
           Case{"/ pkg", "pkg: lies in the folder to pack; name a place outside"},
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
        Case{"tar", "(sleep 10; touch late) & kill -TERM $PPID; wait", "interrupted", 128 + SIGTERM,
             ""},
        Case{"rc4", "(sleep 10; touch late) & kill -INT $PPID; wait", "interrupted", 128 + SIGINT,
             ""},
        Case{"rc4", "stat -c %a $3 >&2; exit 1", "600", 1, ""},
        Case{"rc4", "printf theirs > pkg", "pkg: cannot be made: File exists", 1, "theirs"}}) {
    WorkFolder work;
    work.write("in/misc.txt", "content");
    work.write(std::string("bin/") + c.command, std::string("#!/bin/sh\n") + c.script + "\n");
    work.sh("chmod +x bin/*");
    auto before = work.names();
    auto const result = pack(work, "in pkg");
    EXPECT_THAT(result.error, EndsWith(std::string(": ") + c.error + "\n"));
    EXPECT_EQ(result.exit_status, c.exit_status);
    EXPECT_EQ(work.read("pkg"), c.there);
    if (c.there[0] != '\0') before.insert("pkg");
    EXPECT_EQ(work.names(), before);
  }
}

}  // namespace
