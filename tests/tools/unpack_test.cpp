#include "package_key.h"
#include "work_folder.h"

#include <gmock/gmock.h>

namespace {

using testing::EndsWith;

class Unpack : public testing::Test {
 protected:
  Unpack() { work_.write("key", {zeva::kPackageKey.begin(), zeva::kPackageKey.end()}); }

  // In a shell that finds the commands of the test's own in bin, and in which `encipher FILE` makes
  // a package of an archive and `list FILE...` a list of checksums.
  zeva::CommandResult sh(std::string const& line) {
    return work_.sh("PATH=$PWD/bin:" RC4_FOLDER
                    ":$PATH; encipher() { rc4 -enc -in $1 -key key; }; "
                    "list() { (cd in && md5sum \"$@\" > md5.sum); }; " +
                    line);
  }
  zeva::CommandResult unpack(std::string const& arguments) {
    return sh("exec " UNPACK " " + arguments);
  }

  WorkFolder work_;
};

TEST_F(Unpack, WhatItOpensCanBeCorrectedAndPackedAgain) {
  for (std::string const name : {"misc.txt", "-", "--help", "sub/new\nline", "sub/x/\xFF"})
    work_.write("in/" + name, "content of " + name);
  // Passwords are for the one who opens it, however open the export was.
  sh("chmod 777 in/sub; chmod 666 in/misc.txt; " PACK " in pkg; chmod -R go=,u=rwX in; " PACK
     " in closed");
  for (char const* const folder : {"out", "$PWD/empty/", "sub/../deeper"}) {
    sh("mkdir -m 755 -p empty sub");
    ASSERT_EQ(unpack(std::string("pkg ") + folder).exit_status, 0) << folder;
    EXPECT_EQ(sh(std::string("diff -r -x md5.sum in ") + folder + "; stat -c %a " + folder).output,
              "700\n");
    ASSERT_EQ(sh(std::string(PACK " ") + folder + " again && cmp again closed; rm again").output,
              "");
  }
  EXPECT_EQ(sh("trap '' HUP; STEP_SIGNAL=1 " UNPACK_STEPS " pkg told").error,
            "file synced\nall synced\nrenamed\nfolder synced\n");
  work_.write("out/misc.txt", "corrected");
  EXPECT_EQ(
      sh(PACK " out corrected && " UNPACK " corrected last && diff -r -x md5.sum out last").output,
      "");
}

TEST_F(Unpack, AHostilePackageGetsNoFurtherThanItsFolder) {
  std::string const here = "zeva-unpack: " + (work_ / "out/");
  std::string const no_file = ", which no importer opens; left out\n";
  struct Case {
    char const* script;  // in "in", which holds misc.txt; makes the archive pkg
    std::string error;
    int exit_status = 3;
    std::string modes = "600 ./md5.sum\n600 ./misc.txt\n700 .\n";
  };
  for (Case const& c : {
           Case{"ln -s /etc/passwd in/link; list misc.txt", here + "link: is a link" + no_file},
           Case{"mkfifo in/fifo; list misc.txt", here + "fifo: is a pipe" + no_file},
           Case{"chmod 6777 in in/misc.txt; mkdir -m 0 in/shut; list misc.txt", "", 0,
                "600 ./md5.sum\n600 ./misc.txt\n700 .\n700 ./shut\n"},
           Case{"list misc.txt; echo more >> in/misc.txt",
                here + "misc.txt: does not have the checksum that md5.sum says\n"},
           Case{"touch in/x; list misc.txt x; rm in/x",
                here + "x: is listed in md5.sum and is not there\n"},
           Case{"list misc.txt $PWD/key", here + "md5.sum: lists " + (work_ / "key") +
                                              ", outside of the package; not followed\n"},
           Case{"list misc.txt ./../key",
                here + "md5.sum: lists ./../key, outside of the package; not followed\n"},
           Case{"list misc.txt -",
                here + "md5.sum: lists -, outside of the package; not followed\n"},
           Case{"list misc.txt; truncate -s 257M in/md5.sum",
                here + "md5.sum: is too long to be followed\n"},
           Case{"list misc.txt misc.txt; truncate -s 9G in/misc.txt",
                here + "md5.sum: lists more than 16 GiB, which no migration takes\n"},
           Case{"echo > in/md5.sum; ln -s misc.txt in/link",
                here + "link: is a link" + no_file + here +
                    "md5.sum: md5sum: md5.sum: no properly formatted checksum lines found\n"},
           Case{"mkdir in/md5.sum", here + "md5.sum: is missing; zeva-pack makes one\n", 3,
                "600 ./misc.txt\n700 .\n700 ./md5.sum\n"},
           Case{"list misc.txt; truncate -s 17G in/misc.txt",
                "zeva-unpack: pkg: holds more than 16 GiB, which no migration takes\n", 1, ""},
       }) {
    work_.write("in/misc.txt", "content");
    ASSERT_EQ(sh(std::string(c.script) + "; tar -cSzf pkg -C in . && encipher pkg").exit_status, 0);
    auto const done = sh("umask 0; TAR_OPTIONS='-p --one-top-level=elsewhere' " UNPACK " pkg out");
    EXPECT_EQ(done.exit_status, c.exit_status) << c.script;
    EXPECT_EQ(done.error, c.error);
    EXPECT_EQ(sh("cd out && find . -printf '%m %p\\n' | sort").output, c.modes);
    EXPECT_EQ(sh("chmod -R u+rwx in; rm -r in out; ls -A").output, "key\npkg\n");
  }
}

// 6 MB of zeros in the method that gzip had before its own: the codes 0, 257 to 510, each for one
// zero more than the code before, and 256, from which all begins again.
std::string old_zeros() {
  std::string round(9 * 256 / 8, '\0');
  for (size_t i = 0; i < 256; ++i) {
    size_t const code = i == 0 ? 0 : i == 255 ? 256 : 256 + i;
    round[i * 9 / 8] =
        static_cast<char>(static_cast<unsigned char>(round[i * 9 / 8]) | code << i * 9 % 8);
    round[i * 9 / 8 + 1] = static_cast<char>(code >> (8 - i * 9 % 8));
  }
  std::string file = "\x1f\x9d\x90";
  for (int i = 0; i < 200; ++i) file += round;
  return file;
}

TEST_F(Unpack, WhatCannotBeOpenedLeavesNothingBehind) {
  work_.write("old", old_zeros());
  work_.write("in/misc.txt", std::string(8 << 20, '\0'));
  work_.write("full/file", "keep");
  char const* const script = PACK
      " in pkg; ln -s in link; mkdir -p empty open/mine; chmod 775 open; mkfifo fifo; cd in; "
      "tar -czf ../up -P ../full; tar -czf ../end misc.txt; tar -czf ../tiny -C .. key; "
      "head -c 2500000 misc.txt > part; tar -czf ../half part; cd ..; head -c 5000 end > short; "
      ": | gzip | cat - old > two; cat end key > rest; head -c 5M /dev/zero | gzip | cat tiny - > "
      "long; mkdir m; cd m; touch $(seq 4130); echo 00000000000000000000000000000000  none > "
      "md5.sum; "
      "tar -czf ../many $(seq 4130) md5.sum; cd ..; rm -r m; mkdir t; cd t; "
      "d=$(printf '%0250d/' $(seq 15)); "
      "for i in $(seq 19); do mkdir -p $p$d; ln -s $d ${p}L; echo $p$d; echo ${p}L; p=${p}L/; done "
      "> ../names; tar -czf ../deep --no-recursion -T ../names; cd ..; rm -r t; "
      "for f in up short rest long half many two deep; do encipher $f; done";
  ASSERT_EQ(sh(script).exit_status, 0);
  std::string const small = "bwrap --dev-bind / / --size 4194304 --tmpfs /mnt " UNPACK;
  struct Case {
    std::string line;
    std::string error;
    int exit_status = 1;
    char const* command = "tar";  // one of the test's own in its place
    char const* script = nullptr;
  };
  for (Case const& c : {
           Case{UNPACK " pkg", "FOLDER is required: see --help", 2},
           Case{UNPACK " gone out", "gone: cannot be read: No such file or directory"},
           Case{UNPACK " fifo out", "fifo: is not a file"},
           Case{UNPACK " end out",
                "end: is no settings package, or one of another key: what it holds is no gzip "
                "archive"},
           Case{UNPACK " short out",
                "short: cannot be unpacked: gzip: stdin: unexpected end of file"},
           Case{
               UNPACK " rest out",
               "rest: cannot be unpacked: gzip: stdin: decompression OK, trailing garbage ignored"},
           Case{UNPACK " up out",
                "up: cannot be unpacked: tar: Removing leading `../' from member names"},
           Case{UNPACK " deep out", "deep: what it holds cannot be read: File name too long"},
           Case{UNPACK " pkg full", "full: is not empty; name another folder"},
           Case{UNPACK " pkg link/", "link: is no folder"},
           Case{UNPACK " pkg key/out", "key/out: cannot be made: Not a directory"},
           Case{UNPACK " pkg open/mine/out",
                "cannot be made: its group or others can change what is in " + (work_ / "open") +
                    "; run chmod go-w " + (work_ / "open") +
                    ", or name a place in a folder that only you can write to"},
           Case{"cd empty && " UNPACK " ../pkg .",
                ".: is where this command runs; name another folder"},
           Case{small + " pkg /mnt", "/mnt: is a mount point; name a folder in it"},
           Case{small + " pkg /mnt/out", "pkg: holds more than the disk has room for"},
           Case{small + " half /mnt/out", "/mnt/out/md5.sum: is missing; zeva-pack makes one", 3},
           Case{small + " two /mnt/out", "two: holds more than the disk has room for"},
           Case{small + " many /mnt/out", "/mnt/out/none: is listed in md5.sum and is not there",
                3},
           Case{small + " long /mnt/out", "long: holds more than the disk has room for"},
           Case{UNPACK " pkg empty", "pkg: interrupted", 128 + SIGTERM, "tar",
                "kill -TERM $(cut -d\" \" -f4 /proc/$PPID/stat); sleep 600"},
           Case{UNPACK " pkg empty", "empty/md5.sum: interrupted", 128 + SIGINT, "md5sum",
                "kill -INT $PPID; sleep 600"},
           Case{UNPACK " pkg empty", "empty: cannot be made: Not a directory", 1, "md5sum",
                "rmdir ../../empty; : > ../../empty"},
       }) {
    auto const before = work_.names();
    if (c.script != nullptr) {
      work_.write(std::string("bin/") + c.command, std::string("#!/bin/sh\n") + c.script);
      sh("chmod +x bin/*");
    }
    auto const done = sh(c.line);
    sh("rm -rf bin");
    EXPECT_EQ(done.exit_status, c.exit_status) << c.error;
    EXPECT_THAT(done.error, EndsWith(c.error + "\n"));
    EXPECT_EQ(work_.names(), before);
  }
}

}  // namespace
