#include "runlog.h"

#include "quiet_output.h"
#include "scratch_folder.h"
#include "trusted_open.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <setjmp.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>

namespace fs = std::filesystem;

// The signals that are held back while the log's file is written.
static sigset_t held;

// A reader who leaves when the next line is written.
static int leaving = -1;

// Visible, because the linker takes the calls of a sanitizer's library for wrapped ones too.
extern "C" ssize_t __real_write(int fd, void const* bytes, size_t length);
extern "C" __attribute__((visibility("default"))) ssize_t __wrap_write(int fd, void const* bytes,
                                                                       size_t length) {
  if (fd != STDOUT_FILENO) sigprocmask(SIG_BLOCK, nullptr, &held);
  close(std::exchange(leaving, -1));
  return __real_write(fd, bytes, length);
}

namespace {

class RunLog : public testing::Test {
 protected:
  RunLog() {
    SetDebugLogFileName((root_ / "log").c_str());
    end_after(20);
  }
  ~RunLog() override { end_after(0); }

  // A test that waits for ever ends by the first, one that is busy with signals held back by the
  // second.
  static void end_after(int seconds) {
    alarm(static_cast<unsigned>(seconds));
    itimerval const busy = {{0, 0}, {seconds, 0}};
    setitimer(ITIMER_PROF, &busy, nullptr);
  }

  std::string log() const { return read_text(root_ / "log"); }

  ScratchFolder const scratch_;
  fs::path const root_ = scratch_.path();
};

TEST_F(RunLog, WritesHeaderAndMessageAndEchoesTheMessage) {
  testing::internal::CaptureStdout();
  LogDebugMessage("Error [%d]: read %s failed.", 122, "100%s");
  LogDebugMessage("%s\n", "end");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error [122]: read 100%s failed.\nend\n\n");
  std::string pid = std::to_string(getpid());
  EXPECT_THAT(log(), testing::MatchesRegex("\\[..../../.. ..:..:..\\]\\[pid=" + pid +
                                           "l\\]\\[tid=[0-9]+l\\]:Error \\[122\\]: read 100%s "
                                           "failed\\.\n\\[[^\n]*l\\]:end\n\n"));
  for (int signal : {SIGALRM, SIGTERM, SIGINT, SIGQUIT, SIGHUP})
    EXPECT_EQ(sigismember(&held, signal), 1) << signal;
}

TEST_F(RunLog, CutsLongMessages) {
  testing::internal::CaptureStdout();
  LogDebugMessage("%s", std::string(2047, 'a').c_str());
  LogDebugMessage("%s", std::string(2048, 'b').c_str());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::string(2047, 'a') + "\n" + std::string(2047, 'b') + "\n");
}

sigjmp_buf back;
int jumps = 0;

long open_files() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// A jump at any moment leaves whole lines and a log that goes on.
TEST_F(RunLog, SurvivesJumpsOutOfIt) {
  testing::internal::CaptureStdout();
  static long const before = open_files();
  signal(SIGALRM, [](int) { siglongjmp(back, 1); });
  if (sigsetjmp(back, 1) != 0) ++jumps;
  if (jumps < 500) {
    itimerval soon = {{0, 0}, {0, 20 + jumps % 50}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    for (;;) LogDebugMessage("%s", "whole");
  }
  EXPECT_EQ(open_files(), before);
  testing::internal::GetCapturedStdout();
  std::istringstream lines(log());
  for (std::string line; std::getline(lines, line);) {
    ASSERT_THAT(line, testing::MatchesRegex("\\[.*\\]\\[pid=[0-9]+l\\]\\[tid=[0-9]+l\\]:whole"));
  }
}

// Makes what a log's path meets on its way, in the working folder.
struct Place {
  char const* name;
  char const* setup;          // a shell script; "other" is another user's
  char const* path;           // given to the log
  char const* receives;       // the file that gets the line; null when none may
  bool into_package = false;  // the run has changed its folder
};

Place const kPlaces[] = {
    {"OwnLink", "ln -s target log", "log", "target"},
    {"OwnLinkFromTheRoot", "ln -s $PWD/target log", "log", "target"},
    {"LinkToFolder", "mkdir in; ln -s in way", "way/log", "in/log"},
    {"LinksWithoutEnd", "ln -s b a; ln -s a b", "a", nullptr},
    {"ThroughProc", "touch target", "/proc/self/cwd/target", "target"},
    {"OthersLink", "ln -s target log; chown -h 65534 log", "log", nullptr},
    {"OthersLinkToFolder", "mkdir in; ln -s in way; chown -h 65534 way", "way/log", nullptr},
    {"OthersPipe", "mkfifo log; chown 65534 log", "log", nullptr},
    {"PlainFileOfThePackage", "touch log", "log", "log", true},
    {"LinkOfThePackage", "ln -s target log", "log", nullptr, true},
    {"FolderLinkOfThePackage", "mkdir in; ln -s in way", "way/log", nullptr, true},
    {"PipeOfThePackage", "mkfifo log", "log", nullptr, true},
};

TEST_F(RunLog, FollowsNoStrangersLinkAndWaitsAtNoStrangersPipe) {
  for (Place const& place : kPlaces) {
    if (strstr(place.setup, "chown") != nullptr && geteuid() != 0) continue;
    fs::path const folder = root_ / place.name;
    fs::create_directory(folder);
    fs::current_path(place.into_package ? root_ : folder);
    SetDebugLogFileName(place.path);
    fs::current_path(folder);
    ASSERT_EQ(system(place.setup), 0);
    testing::internal::CaptureStdout();
    LogDebugMessage("line");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), place.receives ? "line\n" : "") << place.name;
    for (char const* file : {"target", "in/log", "log"}) {
      bool const written = fs::is_regular_file(fs::symlink_status(file)) && fs::file_size(file) > 0;
      EXPECT_EQ(written, place.receives && place.receives == std::string(file))
          << place.name << ": " << file;
    }
  }
}

TEST(TrustedOwner, IsRootOrWhoAsks) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ScratchFolder const others;
  ASSERT_EQ(chown(others.path().c_str(), 65533, 65533), 0);
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_FALSE(zeva::is_closed_folder(others.path().c_str(), 0));
  EXPECT_TRUE(zeva::is_trusted_owner(0) && zeva::is_trusted_owner(65534));
  EXPECT_FALSE(zeva::is_trusted_owner(65533));
  ASSERT_EQ(seteuid(0), 0);
}

// The reader comes late, and there is more than a pipe holds.
TEST_F(RunLog, OwnPipeGetsEveryLine) {
  fs::current_path(root_);
  mkfifo("log", 0600);
  ASSERT_EQ(system("(sleep 0.2; timeout 10 head -n 100 <> log > got; mv got all) > errors 2>&1 &"),
            0);
  testing::internal::CaptureStdout();
  for (int i = 0; i < 100; ++i) LogDebugMessage("%s", std::string(2000, 'x').c_str());
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(system("until [ -e all ]; do sleep 0.01; done; exit $(wc -l < all)"), 100 << 8);
}

TEST_F(RunLog, OwnPipesNextReaderGetsTheLine) {
  fs::current_path(root_);
  mkfifo("log", 0600);
  static int next = -1;
  signal(SIGPIPE, [](int) { next = open("log", O_RDONLY | O_NONBLOCK); });
  leaving = open("log", O_RDONLY | O_NONBLOCK);
  QuietOutput const quiet;
  LogDebugMessage("line");
  char line[100];
  EXPECT_GT(read(next, line, sizeof line), 0);
}

}  // namespace
