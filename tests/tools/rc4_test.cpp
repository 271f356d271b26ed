#include "work_folder.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace {

using testing::UnorderedElementsAre;

TEST(Rc4, EnciphersAsTheWorldDoes) {
  struct Case {
    char const *key, *plain, *cipher;
  };
  for (Case const& c : {Case{"Key", "Plaintext", "\xBB\xF3\x16\xE8\xD9\x40\xAF\x0A\xD3"},
                        Case{"Wiki", "pedia", "\x10\x21\xBF\x04\x20"}, Case{"K", "", ""}}) {
    WorkFolder work;
    work.write("file", c.plain);
    work.write("key", c.key);
    EXPECT_EQ(work.sh(RC4 " -enc -in file -key \"$PWD/key\"").exit_status, 0);
    EXPECT_EQ(work.read("file"), c.cipher);
    EXPECT_EQ(work.sh(RC4 " -key key -in \"$PWD/file\" -dec").exit_status, 0);
    EXPECT_EQ(work.read("file"), c.plain);
  }
}

TEST(Rc4, KeepsModeAndStreamIntactOverManyBlocks) {
  WorkFolder work;
  std::string const plain(3 * 65536 + 1, '\0');
  work.write("-in", plain);
  work.write("-key", std::string(256, 'k'));

  auto const made = work.sh(
      "[ $(id -u) != 0 ] || chown 9:9 ./-in; chmod 4640 ./-in; stat -c %a:%u:%g ./-in; "
      "trap '' HUP; STEP_SIGNAL=1 " RC4_STEPS " -enc -in -in -key -key");
  EXPECT_EQ(made.error, "file synced\nrenamed\nfolder synced\n");
  std::string const cipher = work.read("-in");
  ASSERT_EQ(cipher.size(), plain.size());
  // Zeros enciphered are the key stream: a block that started it anew would repeat the first one.
  EXPECT_NE(cipher.substr(0, 4096), cipher.substr(65536, 4096));
  EXPECT_EQ(work.sh("stat -c %a:%u:%g ./-in; " RC4 " -dec -in -in -key -key").output, made.output);
  EXPECT_EQ(work.read("-in"), plain);
  EXPECT_THAT(work.names(), UnorderedElementsAre("-in", "-key"));
}

TEST(Rc4, BadInputChangesNothing) {
  WorkFolder work;
  std::string const content(100000, 'x');
  work.write("file", content);
  work.write("key", "Key");
  work.write("none", "");
  work.write("long", std::string(257, 'k'));
  work.sh("ln -s file link; mkfifo fifo");
  auto const before = work.names();

  std::string const usage = "usage: rc4 -enc|-dec -in FILE -key KEYFILE\n";
  struct Case {
    std::string line;
    std::string error;
    int exit_status = 1;
  };
  for (Case const& c : {
           Case{RC4 " -enc -in file -key", usage, 2},
           Case{RC4 " -enc -dec -in file -key key", usage, 2},
           Case{RC4 " -enc -in link -in file -key key", usage, 2},
           Case{RC4 " -enc -in gone -key key",
                "rc4: gone: cannot be opened: No such file or directory\n"},
           Case{RC4 " -enc -in fifo -key key", "rc4: fifo: is not a regular file\n"},
           Case{RC4 " -enc -in . -key key", "rc4: .: is not a regular file\n"},
           Case{RC4 " -enc -in link -key key",
                "rc4: link: is a symbolic link; name the file itself\n"},
           Case{RC4 " -enc -in key -key key", "rc4: key: is the key itself\n"},
           Case{RC4 " -enc -in file -key none",
                "rc4: none: the key is empty; it takes 1 to 256 bytes\n"},
           Case{RC4 " -enc -in file -key long", "rc4: long: the key is longer than 256 bytes\n"},
           // Ended half way, it removes what it has made.
           Case{"exec prlimit --fsize=70000 --core=0 " RC4 " -enc -in file -key key", "",
                128 + SIGXFSZ},
           Case{"trap '' XFSZ; exec prlimit --fsize=70000 " RC4 " -enc -in file -key key",
                "rc4: file: the new content cannot be written: File too large\n"},
           Case{"for s in 1 2 3 13 15; do STEP_SIGNAL=$s prlimit --core=0 " RC4_STEPS
                " -enc -in file -key key; [ $? = $((128 + s)) ] || exit; done 2>said; rm said",
                "", 0},
       }) {
    auto const result = work.sh(c.line);
    EXPECT_EQ(result.exit_status, c.exit_status) << c.line;
    EXPECT_EQ(result.error, c.error);
    EXPECT_EQ(work.read("file"), content);
    EXPECT_EQ(work.read("key"), "Key");
    EXPECT_EQ(work.names(), before);
  }
}

}  // namespace
