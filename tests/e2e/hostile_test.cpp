// The installed tool on a machine that it shares: with other users, and with another run.
//
// The scripts hold or watch a run at known places by commands of their own, in front of those that
// the run calls.

#include "sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

using ::testing::_;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

// In scripts: `stranger COMMAND` runs a shell command as another user; `wrap NAME`, with a script
// as input, puts that in the place of a command, which it finds as "$real".
constexpr char kTools[] = R"(
    chmod 1777 /tmp
    PATH=$PATH:/usr/bin:/bin
    stranger() { setpriv --reuid=65534 --regid=65534 --clear-groups sh -c "$1"; }
    wrap() {
      real=$(command -v $1)
      case $real in $ZEVA_HOME/*) mv $real $real.real; real=$real.real ;; esac
      { printf '#!/bin/sh\nreal=%s\n' $real; cat; } > $ZEVA_HOME/bin/$1
      chmod 755 $ZEVA_HOME/bin/$1
    }
)";

class SharedMachine : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root has other users at hand";
    auto made = run("S99Reg start && S99Reg stop && zeva-pack export pkg");
    ASSERT_EQ(made.status, 0) << made.output;
  }

  Sandbox::Outcome run(std::string const& script) { return box_.run(kTools + script); }

  Sandbox box_;
};

// Another user tries to read, run and change what is unpacked, and to change the working copy, all
// the time and whenever the run has made something. The package invites it: its files are
// everybody's, one of them is a set-user-id program, and it opens the folder itself.
TEST_F(SharedMachine, NobodyElseGetsIn) {
  auto attacked = run(R"(
    mkdir p; cp -a export/. p; cp /usr/bin/id p/id
    (cd p; find . -type f -exec md5sum {} + > ../sums; mv ../sums md5.sum)
    chmod -R 0777 p; chown -R 65534:65534 p; chown 0 p/id; chmod 4755 p/id
    rm pkg; tar czf pkg -C p .; rc4 -enc -in pkg -key key; chown 65534 pkg

    cat > attack <<'.'
      ./id 2>/dev/null && echo has run the program
      cat misc.txt 2>/dev/null && echo has read the export
      { echo >> misc.txt; } 2>/dev/null && echo has changed the export
.
    cat > more <<'.'
      ls . > /dev/null 2>&1 && echo has listed the export
      [ -e /tmp/migrate_pkg ] || exit
      cat /tmp/migrate_pkg 2>/dev/null && echo has read the copy
      { echo >> /tmp/migrate_pkg; } 2>/dev/null && echo has changed the copy
      mv -f /tmp/mine /tmp/migrate_pkg 2>/dev/null && echo has replaced the copy
.
    stranger '> /tmp/mine'; mkdir /tmp/migrate
    stranger 'cd /tmp/migrate; > /tmp/in; until [ -e /mnt/work/ended ]; do . /mnt/work/attack; done' > taken &
    until [ -e /tmp/in ]; do :; done; rm /tmp/in
    for command in rc4 tar md5sum ps rm; do wrap $command <<'.'
      $real "$@"; status=$?
      cd /tmp/migrate
      env -u LD_PRELOAD setpriv --reuid=65534 --regid=65534 --clear-groups sh -c '. /mnt/work/attack; . /mnt/work/more' >> /mnt/work/taken
      exit $status
.
    done
    mv $ZEVA_HOME/bin/migration/S99Reg $ZEVA_HOME/S99Reg
    printf '#!/bin/sh\n{ umask; echo $TAR_OPTIONS; echo $(ls -l /proc/$$/fd | grep -c lock) locks; ls /tmp/rc_key; } 2>&- > /mnt/work/usual\nexec '$ZEVA_HOME'/S99Reg "$@"' \
      > $ZEVA_HOME/bin/migration/S99Reg; chmod 755 $ZEVA_HOME/bin/migration/S99Reg
    umask 022; export TAR_OPTIONS='--same-owner --same-permissions'
    migrate pkg /mnt/work/log > output; echo $?; touch ended; wait
    cat taken usual; stat -c %a /tmp/migrate log $ZEVA_HOME/xhtml/en/download/mig_result)");
  EXPECT_EQ(attacked.output, "0\n0022\n--same-owner --same-permissions\n2 locks\n755\n644\n644\n");
  EXPECT_THAT(box_.tmp(), ElementsAre("migrate", "mine"));
}

// The folder stays closed for as long as it holds anything; the result file is the console's to
// read.
TEST_F(SharedMachine, WhatARunLeavesBehindStaysClosed) {
  auto ended = run(R"(
    modes() { stat -c %a /tmp/migrate $ZEVA_HOME/xhtml/en/download/mig_result | xargs; }
    wrap rm < /dev/null
    migrate pkg log > output; modes
    /bin/rm $ZEVA_HOME/xhtml/en/download/mig_result
    wrap tar <<'.'
      $real "$@"; touch /mnt/work/unpacked; sleep 0.2
.
    $ZEVA_HOME/bin/migration/zeva-migrate pkg log > output & pid=$!
    until [ -e unpacked ]; do sleep 0.02; done
    kill -TERM $pid; wait $pid; echo $?; modes
    flock /tmp/migrate.lock true  # until tar has ended, too
    /bin/rm $ZEVA_HOME/bin/rm $ZEVA_HOME/bin/tar; migrate pkg log > output; echo $?; modes)");
  EXPECT_EQ(ended.output, "700 644\n156\n700 644\n0\n755 644\n");
}

// The owner of a package owns what cp makes of it. The run never waits for what takes its place.
TEST_F(SharedMachine, WhatIsPutInTheCopysPlaceIsRefused) {
  for (char const* swap : {"ln -sf /mnt/work/pkg $3", "rm $3; mkfifo $3", "rm $3; mkdir $3"}) {
    auto swapped = run("rm -rf log $ZEVA_HOME/bin/cp /tmp/migrate_pkg; hash -r; wrap cp <<'.'\n" +
                       std::string("$real \"$@\"; ") + swap +
                       "\n.\ntimeout 60 $ZEVA_HOME/bin/migration/zeva-migrate pkg "
                       "/mnt/work/log > output; echo $?");
    EXPECT_EQ(swapped.output, "252\n") << swap;
    EXPECT_THAT(box_.log(), Contains("Error [233]: backup package failed.")) << swap;
  }
}

// The first run waits for its package, a pipe. The second shares its /tmp or its home, or both.
TEST_F(SharedMachine, ASecondRunTouchesNothing) {
  char const* const seconds[] = {
      "migrate pkg second",
      "ZEVA_HOME=/mnt/work/home; migrate pkg second",
      "bwrap --dev-bind / / --tmpfs /tmp $ZEVA_HOME/bin/migration/zeva-migrate pkg second",
  };
  for (char const* second : seconds) {
    auto both = run(R"(
    touched() { find home/config $ZEVA_HOME/config -type f -exec md5sum {} +; ls -lR /tmp; }
    rm -rf log second home pipe; cp -a $ZEVA_HOME home; mkfifo pipe; S99Reg start
    migrate pipe /mnt/work/log > output & until [ -e /tmp/migrate_pkg ]; do sleep 0.02; done
    touched > before; ( )" +
                    std::string(second) +
                    R"( > output2 ); echo $?; touched > after; cmp before after
    S99Reg status > /dev/null && echo running; cat pkg > pipe; wait; ls /tmp
    sed -n 's/.*pid=\([0-9]*\)l.*Start .*/\1/p' log)");
    SCOPED_TRACE(second);
    std::string const expected = "237\nrunning\nmigrate\n";
    ASSERT_THAT(both.output, StartsWith(expected));
    std::string const pid = both.output.substr(expected.size());
    EXPECT_THAT(box_.log("second"),
                ElementsAre(_, _,
                            "Error [214]: another migration is running, process " +
                                pid.substr(0, pid.find('\n')) + ".",
                            "End migration(-19).", _, ""));
    EXPECT_THAT(box_.log(), Contains("End migration(0)."));
    EXPECT_THAT(box_.store(), HasSubstr("    MaxScanSize=DW "));
  }
}

// What it still writes would come into the next run's export.
TEST_F(SharedMachine, ACommandOfAnEndedRunIsWaitedFor) {
  for (std::string const signal : {"KILL", "TERM"}) {
    auto next = run("rm -rf /tmp/*; signal=" + signal + R"(
      rm -f pipe; mkfifo pipe; $ZEVA_HOME/bin/migration/zeva-migrate pipe log > output & pid=$!
      until ps -e | grep -q ' cp$'; do sleep 0.02; done; kill -$signal $pid; wait
      rm log; migrate pkg log > output; echo $?
      (sleep 0.1; : > pipe) & $ZEVA_HOME/bin/migration/zeva-migrate nope log > output; echo $?)");
    EXPECT_EQ(next.output, "237\n255\n") << signal;
    EXPECT_THAT(box_.log(),
                Contains("Error [217]: a command of an ended migration is still running."));
  }
}

// Of root, for another user's run; of the folder's owner, for root's.
TEST_F(SharedMachine, AnothersLockHolds) {
  auto held = run(R"(
    chmod 755 /opt/norva; tool=$ZEVA_HOME/bin/migration/zeva-migrate
    lock=/tmp/migrate.lock; install -m 600 /dev/null $lock
    stranger "cd /tmp; ZEVA_HOME=/tmp $tool nope > output"; echo $?; rm $lock
    lock=$ZEVA_HOME/config/migrate.lock; install -m 600 -o 65534 /dev/null $lock; chown 65534 ${lock%/*}
    flock $lock faketime -f '+0 x30' $tool nope log > output; echo $?)");
  EXPECT_EQ(held.output, "237\n237\n");
}

// A run that was killed, and whatever stands in the place of the machine's lock: each leaves the
// next run free, that run has its lock, and nothing but a lock is removed.
TEST_F(SharedMachine, NobodyHoldsUpARun) {
  struct {
    char const* setup;
    char const* left;  // how many
  } const cases[] = {
      {"mkfifo pipe; $ZEVA_HOME/bin/migration/zeva-migrate pipe log > output & pid=$!\n"
       "until ps -e | grep -q ' cp$'; do sleep 0.02; done; kill -9 $pid; wait; : > pipe",
       "0"},
      {"printf '#!/bin/sh\nsleep 60 & touch /mnt/work/started' > $ZEVA_HOME/bin/migration/S99Reg\n"
       "$ZEVA_HOME/bin/migration/zeva-migrate pkg log > output & pid=$!\n"
       "until [ -e started ]; do sleep 0.02; done; kill -9 $pid; wait",
       "0"},
      {"install -m 600 pkg /tmp/migrate.lock", "1"},
      {"install -m 644 /dev/null /tmp/migrate.lock", "1"},
      {"stranger '> /tmp/migrate.lock'", "1"},
      {"stranger 'mkdir -p /tmp/migrate.lock/folder'", "1"},
      {"stranger 'mkfifo /tmp/migrate.lock'", "1"},
      {"stranger 'ln -s /etc/passwd /tmp/migrate.lock'", "1"},
      {"chmod 755 /opt/norva; stranger 'cd /tmp; mkfifo pipe; ZEVA_HOME=/tmp; "
       "/opt/norva/zeva/bin/migration/zeva-migrate pipe /tmp/log > output &'\n"
       "until [ -e /tmp/migrate_pkg ]; do sleep 0.02; done",
       "1"},
  };
  for (auto const& test : cases) {
    auto next = run(std::string("rm -rf /tmp/*; ") + test.setup +
                    "\nls /tmp | grep -qx migrate.lock || echo no lock; timeout 60 "
                    "$ZEVA_HOME/bin/migration/zeva-migrate nope log > output; echo $?; "
                    "ls /tmp | grep -x migrate.lock; ls /tmp | grep -c migrate.lock");
    EXPECT_EQ(next.output, std::string("255\n") + test.left + "\n") << test.setup;
  }
}

}  // namespace
