// How long the run waits for the registry server.

#include "regserver_control.h"

#include "quiet_output.h"
#include "run_log.h"
#include "runlog.h"
#include "scratch_folder.h"

#include <gmock/gmock.h>

#include <stdlib.h>

#include <utility>

namespace {
unsigned waited;  // in seconds, all in all
}

extern "C" unsigned __wrap_sleep(unsigned seconds) {
  waited += seconds;
  return 0;
}

TEST(RegServer, IsWaitedForUntilItIsThereOrGone) {
  QuietOutput const quiet;
  ScratchFolder const home;
  setenv("ZEVA_HOME", home.path().c_str(), 1);
  setenv("PATH", (home / "bin/migration:" + getenv("PATH")).c_str(), 1);
  SetDebugLogFileName((home / "log").c_str());
  auto const seen = [&](char const* process) {  // by ps; the script does nothing, stops with 1
    home.write("bin/migration/ps", std::string("#!/bin/sh\necho ") + process + "\n");
    home.write("bin/migration/S99Reg", "[ $1 = start ]");
    EXPECT_EQ(system("chmod 700 $ZEVA_HOME/bin/migration/*"), 0);
  };
  seen("nothing");
  EXPECT_TRUE(StartRegServer());
  EXPECT_EQ(std::exchange(waited, 0), 110u);
  seen("regserver");
  EXPECT_FALSE(StopRegServer());
  EXPECT_EQ(waited, 122u);
  EXPECT_THAT(logged_messages(home / "log"),
              testing::ElementsAre("StartRegServer [165]: get successfully timeout.",
                                   "StopRegServer [121]: cannot stop regserver."));
}
