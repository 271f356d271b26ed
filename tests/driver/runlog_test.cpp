#include "runlog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <setjmp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

class RunLog : public testing::Test {
 protected:
  RunLog() {
    std::string pattern = (fs::temp_directory_path() / "zeva-runlog-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
    SetDebugLogFileName((root_ / "log").c_str());
  }
  ~RunLog() override { fs::remove_all(root_); }

  std::string log() const {
    std::ifstream file(root_ / "log");
    return {std::istreambuf_iterator<char>(file), {}};
  }

  fs::path root_;
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
}

TEST_F(RunLog, CutsLongMessages) {
  testing::internal::CaptureStdout();
  LogDebugMessage("%s", std::string(2047, 'a').c_str());
  LogDebugMessage("%s", std::string(2048, 'b').c_str());
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            std::string(2047, 'a') + "\n" + std::string(2047, 'b') + "\n");
}

TEST_F(RunLog, DropsMessagesItCannotWrite) {
  SetDebugLogFileName(root_.c_str());
  testing::internal::CaptureStdout();
  LogDebugMessage("lost");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
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

// The run's working folder becomes the package's.
TEST_F(RunLog, FollowsNoLinkAndWaitsAtNoPipe) {
  fs::current_path(root_);
  fs::create_symlink(root_ / "target", "link");
  mkfifo("pipe", 0600);
  for (char const* name : {"link", "pipe"}) {
    SetDebugLogFileName(name);
    LogDebugMessage("lost");
  }
  EXPECT_FALSE(fs::exists("target"));
}

}  // namespace
