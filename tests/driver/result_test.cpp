// The result file, in a web tree that is not only root's.

#include "result.h"

#include "scratch_folder.h"
#include "signals.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

struct Place {
  char const* name;
  char const* setup;  // run in the home's download folder
  bool written;
};

Place const kPlaces[] = {
    {"LongerFile", "printf %0200d 7 > mig_result", true},
    {"OthersFile", "echo old > mig_result; chown 65534 mig_result", true},
    {"OwnLink", "ln -s kept mig_result", true},
    {"OthersLink", "echo kept > kept; ln -s kept mig_result; chown -h 65534 mig_result", false},
    {"OthersFolder", "mkdir ../kept; rmdir $PWD; ln -s kept $PWD; chown -h 65534 $PWD", false},
    {"SecondNameOfAnother", "echo kept > kept; ln kept mig_result", false},
    {"Pipe", "mkfifo mig_result", false},
};

TEST(Result, IsWrittenToNothingButAFileOfItsOwn) {
  // By a run that a signal ends, whatever signals follow.
  my_signal(SIGQUIT, [](int) {
    for (int number : {SIGTERM, SIGHUP, SIGUSR1, SIGINT}) raise(number);
    my_exit(-11);
  });
  ScratchFolder const scratch;
  fs::path const root = scratch.path();
  for (Place const& place : kPlaces) {
    if (strstr(place.setup, "chown") != nullptr && geteuid() != 0) continue;
    fs::path const folder = root / place.name / "xhtml/en/download";
    fs::create_directories(folder);
    fs::current_path(folder);
    ASSERT_EQ(system(place.setup), 0) << place.name;
    setenv("ZEVA_HOME", (root / place.name).c_str(), 1);
    EXPECT_EXIT(raise(SIGQUIT), testing::ExitedWithCode(245), "") << place.name;

    bool const is_file = fs::is_regular_file(folder / "mig_result");
    std::string const text = is_file ? read_text(folder / "mig_result") : "";
    EXPECT_EQ(text == "<?xml version=\"1.0\" encoding=\"utf-8\"?><root>-11</root>", place.written)
        << place.name << ": " << text;
  }
}

}  // namespace
