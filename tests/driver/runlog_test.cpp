#include "runlog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
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

TEST_F(RunLog, LeavesTheSignalMaskAsItWas) {
  sigset_t before, after;
  sigemptyset(&before);
  sigaddset(&before, SIGALRM);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  LogDebugMessage("line");
  sigprocmask(SIG_SETMASK, nullptr, &after);
  EXPECT_TRUE(sigismember(&after, SIGALRM));
  EXPECT_FALSE(sigismember(&after, SIGTERM));
}

}  // namespace
