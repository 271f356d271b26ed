#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "command.h"
#include "work_folder.h"

namespace {

using testing::UnorderedElementsAre;

zeva::CommandResult rc4(std::vector<std::string> arguments, std::string const& folder = "") {
  arguments.insert(arguments.begin(), RC4);
  return zeva::run_command({arguments, folder, {}});
}

TEST(Rc4, EnciphersAsTheWorldDoes) {
  struct Case {
    char const *key, *plain, *cipher;
  };
  for (Case const& c : {Case{"Key", "Plaintext", "\xBB\xF3\x16\xE8\xD9\x40\xAF\x0A\xD3"},
                        Case{"Wiki", "pedia", "\x10\x21\xBF\x04\x20"}, Case{"K", "", ""}}) {
    WorkFolder work;
    work.write("file", c.plain);
    work.write("key", c.key);
    EXPECT_EQ(rc4({"-enc", "-in", work / "file", "-key", work / "key"}).exit_status, 0);
    EXPECT_EQ(work.read("file"), c.cipher);
    EXPECT_EQ(rc4({"-key", work / "key", "-in", work / "file", "-dec"}).exit_status, 0);
    EXPECT_EQ(work.read("file"), c.plain);
  }
}

TEST(Rc4, KeepsModeAndStreamIntactOverManyBlocks) {
  WorkFolder work;
  std::string const plain(3 * 65536 + 1, '\0');
  work.write("-in", plain);
  work.write("-key", std::string(256, 'k'));
  chmod((work / "-in").c_str(), 0640);

  ASSERT_EQ(rc4({"-enc", "-in", "-in", "-key", "-key"}, work / "").exit_status, 0);
  std::string const cipher = work.read("-in");
  ASSERT_EQ(cipher.size(), plain.size());
  // Zeros enciphered are the key stream: a block that started it anew would repeat the first one.
  EXPECT_NE(cipher.substr(0, 4096), cipher.substr(65536, 4096));
  struct stat info;
  stat((work / "-in").c_str(), &info);
  EXPECT_EQ(info.st_mode & 07777, 0640u);

  ASSERT_EQ(rc4({"-dec", "-in", "-in", "-key", "-key"}, work / "").exit_status, 0);
  EXPECT_EQ(work.read("-in"), plain);
  EXPECT_THAT(work.names(), UnorderedElementsAre("-in", "-key"));
}

TEST(Rc4, BadInputChangesNothing) {
  WorkFolder work;
  work.write("file", "content");
  work.write("key", "Key");
  work.write("none", "");
  work.write("long", std::string(257, 'k'));
  std::filesystem::create_symlink("file", work / "link");
  mkfifo((work / "fifo").c_str(), 0600);
  auto const before = work.names();

  std::string const usage = "usage: rc4 -enc|-dec -in FILE -key KEYFILE\n";
  struct Case {
    std::vector<std::string> arguments;
    int exit_status;
    std::string error;
  };
  for (Case const& c : {
           Case{{"-enc", "-in", "file", "-key"}, 2, usage},
           Case{{"-enc", "-dec", "-in", "file", "-key", "key"}, 2, usage},
           Case{{"-enc", "-in", "gone", "-key", "key"},
                1,
                "rc4: gone: cannot be opened: No such file or directory\n"},
           Case{{"-enc", "-in", "fifo", "-key", "key"}, 1, "rc4: fifo: is not a regular file\n"},
           Case{{"-enc", "-in", "link", "-key", "key"},
                1,
                "rc4: link: is a symbolic link; name the file itself\n"},
           Case{{"-enc", "-in", "file", "-key", "none"},
                1,
                "rc4: none: the key is empty; it takes 1 to 256 bytes\n"},
           Case{{"-enc", "-in", "file", "-key", "long"},
                1,
                "rc4: long: the key is longer than 256 bytes\n"},
       }) {
    auto const result = rc4(c.arguments, work / "");
    EXPECT_EQ(result.exit_status, c.exit_status) << c.error;
    EXPECT_EQ(result.error, c.error);
    EXPECT_EQ(work.read("file"), "content");
    EXPECT_EQ(work.names(), before);
  }
}

TEST(Rc4, EndedHalfWayItLeavesTheFileAlone) {
  WorkFolder work;
  std::string const content(100000, 'x');
  work.write("file", content);
  work.write("key", "Key");
  auto const result = zeva::run_command(
      {{"prlimit", "--fsize=70000", "--core=0", RC4, "-enc", "-in", "file", "-key", "key"},
       work / "",
       {}});
  EXPECT_EQ(result.exit_status, 128 + SIGXFSZ);
  EXPECT_EQ(work.read("file"), content);
  EXPECT_THAT(work.names(), UnorderedElementsAre("file", "key"));
}

}  // namespace
