// The installed tool, end to end: every result with its log, exit status, result file, and the
// store and /tmp afterwards.

#include "sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

namespace {

constexpr char kSeparator[] = "==================================================";

Lines joined(std::initializer_list<Lines> parts) {
  Lines all;
  for (Lines const& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Lines const kStart = {kSeparator, "Start migration [...] ..."};
Lines const kDecrypt = {"Decrypting package..."};
Lines const kUnpack = joined({kDecrypt, {"Unpacking package..."}});
Lines const kCheck = joined({kUnpack, {"Check MD5 of package..."}});
Lines const kServer = joined({kCheck, {"RegServer is not running, try to start regserver..."}});
Lines const kBackup =
    joined({kServer, {"StartRegServer [160]: start successfully.", "Backup policy files..."}});
Lines const kActions = joined({kBackup, {"Import filter actions..."}});
// Up to the config settings, with what the example's own settings add.
Lines const kConfig =
    joined({kActions,
            {"Warning: change archive folder to /opt/norva/zeva/queue/archive",
             "\tfilter action: Archive the attachments",
             "\toriginal path: /opt/norva/zeva/queue/archive", "Import config settings..."}});
Lines const kExampleToAddresses = {
    "Warning: change quarantine area path to /opt/norva/zeva/queue/quarantine",
    "\tquarantine area: Swyddfa Caerdydd – cwarantîn",
    "\toriginal path: /opt/norva/zeva/queue/quarantine",
    "",
    "Import policys...",
    "Warning [159]: Invalid BaselineDetectionRate (9), use default value.",
    "Warning [154]: BaselineDetectionRate changed to 4, original is 1",
    "Import address groups...",
};
Lines const kExampleLog = joined({kExampleToAddresses, {"Import successfully."}});
Lines const kRestore = {"Restore backuped policy files..."};

Lines end(int code) {
  return {"Stop regserver.", "End migration(" + std::to_string(code) + ").", kSeparator, ""};
}

std::string result_text(int code) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?><root>" + std::to_string(code) + "</root>";
}

Lines const kCleanTmp = {"migrate"};

struct Case {
  char const* name;
  char const* setup;  // run after the package is made of the example
  int code;
  Lines log;  // between the start and the end
  Lines tmp = kCleanTmp;
};

void PrintTo(Case const& test, std::ostream* out) {
  *out << test.name;
}

// Makes a package again after a change of the export.
#define REPACK "; rm pkg; zeva-pack export pkg"

Case const kCases[] = {
    {"FileForUnpackFolder", "touch /tmp/migrate", -2, {"Error [245]: make temp dir failed."}},
    {"FolderForKeyFile",
     "mkdir /tmp/rc_key",
     -3,
     joined({kDecrypt, {"Erorr [261]: flush key to /tmp/rc_key failed."}}),
     {"migrate", "rc_key"}},
    {"NoDecryption", "rm $ZEVA_HOME/bin/rc4", -3,
     joined({kDecrypt, {"Error [277]: rc4 decrypt package failed (32512)"}})},
    {"FolderForWorkingCopy",
     "mkdir /tmp/migrate_pkg",
     -4,
     {"Error [233]: backup package failed."},
     {"migrate_pkg"}},
    {"FolderForPackage", "rm pkg; mkdir pkg", -4, {"Error [233]: backup package failed."}, {}},
    {"NoPackage", "date > pkg", -5,
     joined({kUnpack,
             {"Error [289]: unpack package failed. (tar zxvf /tmp/migrate_pkg > /dev/null "
              "2>&1) (512)"}})},
    {"DamagedExport",
     "mkdir p; cp -a export/. p; (cd p; md5sum misc.txt > md5.sum; echo >> misc.txt;"
     " tar czf ../pkg .); rc4 -enc -in pkg -key key",
     -6,
     joined({kCheck,
             {"Error [301]: md5 check failed. (md5sum -c /tmp/migrate/md5.sum > /dev/null "
              "2>&1) (256)"}})},
    {"ListOfWhatIsTyped",
     "mkdir p; cp -a export/. p; (cd p; md5sum - < misc.txt > md5.sum; tar czf ../pkg .);"
     " rc4 -enc -in pkg -key key",
     -6,
     joined({kCheck,
             {"Error [301]: md5 check failed. (md5sum -c /tmp/migrate/md5.sum > /dev/null "
              "2>&1) (-1)"}})},
    {"ServerDoesNotStart", "sed -i s/5069/none/ $ZEVA_HOME/bin/migration/RegSvrCfg.ini", -7,
     joined({kServer,
             {"StartRegServer [149]: /opt/norva/zeva/bin/migration/S99Reg start > /dev/null 2>&1 "
              "failed.",
              "Error [0]: start regserver failed."}})},
    {"FileForBackupFolder", "touch $ZEVA_HOME/config/backup", -16,
     joined(
         {kBackup, {"Error [328]: make backup folder failed (/opt/norva/zeva/config/backup)."}})},
    // The one that an earlier run has left does not count.
    {"NoFilterActions", "mkdir /tmp/migrate; mv export/actionFile.txt /tmp/migrate" REPACK, -11,
     joined({kActions, {"Error [484]: read /tmp/migrate/actionFile.txt failed."}, kRestore})},
    {"NoExceptionHandling", "rm export/excepton.txt" REPACK, -13,
     joined({kConfig, {"Error [122]: read /tmp/migrate/excepton.txt failed."}, kRestore})},
    {"ScanLimitLacksKey", "sed -i /^MultipleCleanLayer/d export/scanlimit.txt" REPACK, -14,
     joined({kConfig,
             {"Error [148]: read value [common.MultipleCleanLayer] from /tmp/migrate/scanlimit.txt "
              "failed."},
             kRestore})},
    {"BadQuarantineAreaAfterWorkingSteps",
     "sed -i 's/^KeepDate=1:5$/KeepDate=2:5/' "
     "export/quarantine.txt" REPACK,
     -12,
     joined({kConfig,
             {"Error [148]: read value [area2.KeepDate] from /tmp/migrate/quarantine.txt failed."},
             kRestore})},
    {"NoAddressGroups", "rm export/address.txt" REPACK, -8,
     joined({kConfig,
             kExampleToAddresses,
             {"Error [81]: read /tmp/migrate/address.txt failed."},
             kRestore})},
    {"BadValueInTheLastFile", "sed -i /^SectionNum/d export/misc.txt" REPACK, -15,
     joined({kConfig,
             kExampleToAddresses,
             {"Error [148]: read value [common.SectionNum] from /tmp/migrate/misc.txt failed."},
             kRestore})},
    {"ServerNeverShows", "printf '#!/bin/sh\\n' > $ZEVA_HOME/bin/migration/S99Reg", -11,
     joined({kServer,
             {"StartRegServer [165]: get successfully timeout.", "Backup policy files...",
              "Import filter actions...",
              "Error [461]: The call nvreg_open failed on \"ZEVA:5069\" with status 0x81020001. "
              "Nothing there to work with: polreg.root is empty or not open. "},
             kRestore})},
#ifndef __SANITIZE_ADDRESS__  // which needs an address space without a limit
    {"NoMemory",
     "for i in 1 2 3 4 5 6 7 8; do head -c 30000000 /dev/zero | tr '\\0' x; done > big; "
     "{ printf '[common]\\nFileNum=1:'; cat big; } > export/actionFile.txt" REPACK
     "; ulimit -v 400000",
     -18, joined({kActions, {"Error [347]: not enough memory to import."}, kRestore})},
#endif
};

// A machine with a package of the example, and the store of a gateway that has run before.
class Migration : public testing::Test {
 protected:
  void SetUp() override {
    auto made = box_.run("S99Reg start && S99Reg stop && zeva-pack export pkg");
    ASSERT_EQ(made.status, 0) << made.output;
    before_ = box_.store();
    ASSERT_THAT(before_, HasSubstr("registry\\policy\\Rule\\Mail"));
  }

  // What a run that ended with the code has left behind.
  void expect_undone(int code, Lines const& log, Lines const& tmp = kCleanTmp) {
    EXPECT_THAT(box_.log(), ElementsAreArray(joined({kStart, log, end(code)})));
    EXPECT_EQ(box_.result(), result_text(code));
    EXPECT_THAT(box_.tmp(), ElementsAreArray(tmp));
    EXPECT_EQ(box_.store(), before_);
    // A restarted server serves the same.
    box_.run("S99Reg start");
    EXPECT_EQ(box_.store(), before_);
  }

  Sandbox box_;
  std::string before_;
};

class Failure : public Migration, public testing::WithParamInterface<Case> {};

TEST_P(Failure, IsReportedAndUndone) {
  Case const& test = GetParam();
  auto run = box_.run(std::string(test.setup) + "\nmigrate pkg /mnt/work/log");
  EXPECT_EQ(run.status, test.code & 0xff) << run.output;
  expect_undone(test.code, test.log, test.tmp);
}

TEST_F(Migration, CarriesTheExampleIntoTheStore) {
  auto run = box_.run("migrate pkg /mnt/work/log");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_EQ(box_.result(), result_text(0));
  EXPECT_THAT(box_.tmp(), ElementsAreArray(kCleanTmp));
  EXPECT_THAT(box_.log(), ElementsAreArray(joined({kStart, kConfig, kExampleLog, end(0)})));
  EXPECT_THAT(box_.store(), HasSubstr("    MaxScanSize=DW "));

  // The imported store is what a restarted server serves.
  auto served = box_.run("S99Reg start && zeva-regdump --server ZEVA:5069");
  EXPECT_EQ(served.status, 0);
  EXPECT_EQ(served.output, box_.store());
}

TEST_F(Migration, UsesARunningServerAndItsPort) {
  auto run = box_.run(R"(
    sed -i s/5069/5070/ $ZEVA_HOME/bin/migration/RegSvrCfg.ini
    S99Reg start
    sed -i /^MultipleCleanLayer/d export/scanlimit.txt
    rm pkg; zeva-pack export pkg; export COLUMNS=20; migrate pkg /mnt/work/log; echo $?
    unset COLUMNS; ps -e | grep -c regserver)");
  EXPECT_THAT(run.output, testing::EndsWith("\n242\n0\n"));
  EXPECT_EQ(box_.log()[5], "Backup policy files...");
  EXPECT_EQ(box_.store(), before_);
}

TEST_F(Migration, MissingPackageTouchesNothing) {
  auto run = box_.run(
      "S99Reg start; migrate nope log; echo $?; "
      "S99Reg status | sed 's/ (.*//'");
  EXPECT_THAT(run.output, testing::EndsWith("\n255\nregserver is running\n"));
  EXPECT_THAT(box_.log(),
              ElementsAre(kSeparator, kStart[1], "Error [220]: package nope don't exists.",
                          "End migration(-1).", kSeparator, ""));
  EXPECT_EQ(box_.result(), result_text(-1));
  EXPECT_THAT(box_.tmp(), ElementsAre());
  EXPECT_EQ(box_.store(), before_);
}

TEST_F(Migration, WrongCommandLineIsRefused) {
  for (char const* arguments : {"", "pkg log more"}) {
    std::filesystem::remove(box_.home() / "xhtml/en/download/mig_result");
    auto run =
        box_.run("cd /mnt/work; $ZEVA_HOME/bin/migration/zeva-migrate " + std::string(arguments));
    EXPECT_EQ(run.status, 156);
    EXPECT_EQ(run.output,
              "usage: /opt/norva/zeva/bin/migration/zeva-migrate pkg_filea_name "
              "[log_file_name]\n");
    EXPECT_EQ(box_.result(), result_text(-100));
  }
}

// What asks about the tool itself, unless a file has that name.
TEST_F(Migration, QuestionsAreAnsweredAndTouchNothing) {
  for (char const* question : {"--help", "-h", "--version"}) {
    std::string const run = "migrate " + std::string(question);
    auto answered = box_.run(run);
    EXPECT_EQ(answered.status, 0);
    EXPECT_THAT(answered.output, HasSubstr(question[2] == 'v' ? "1." : "usage: "));
    EXPECT_EQ(box_.result(), "none");
    EXPECT_FALSE(std::filesystem::exists(box_.work() / "migration.log"));
    EXPECT_EQ(box_.run("mkdir ./" + std::string(question) + "; " + run).status, 252);
    std::filesystem::remove(box_.home() / "xhtml/en/download/mig_result");
    std::filesystem::remove(box_.work() / "migration.log");
  }
  EXPECT_EQ(box_.run("migrate --helpme").status, 255);
}

TEST_F(Migration, LogIsMigrationLogOfTheStartingFolder) {
  EXPECT_EQ(box_.run("mkdir sub; cd sub; migrate ../nope").status, 255);
  EXPECT_THAT(box_.log("sub/migration.log"), testing::Contains("End migration(-1)."));
}

TEST_F(Migration, UnwritableLogSilencesTheRunAndNothingElse) {
  auto run =
      box_.run("sed -i /^FileNum/d export/actionFile.txt" REPACK "; migrate pkg /nowhere/log");
  EXPECT_EQ(run.status, 245);
  EXPECT_EQ(run.output,
            "zeva-migrate: log /nowhere/log: No such file or directory; lines are missing "
            "from it\n");
  EXPECT_EQ(box_.result(), result_text(-11));
  EXPECT_EQ(box_.store(), before_);
  EXPECT_EQ(box_.run("migrate nope /dev/full > output").output,
            "zeva-migrate: log /dev/full: No space left on device; lines are missing from it\n");
}

TEST_F(Migration, UnwritableResultFileIsNotReported) {
  auto run = box_.run("rm -r $ZEVA_HOME/xhtml; migrate nope log > output; echo $?");
  EXPECT_EQ(run.output, "255\n");
  EXPECT_EQ(box_.result(), "none");
}

// Nor one that an earlier run has left; and nobody else can read it meanwhile.
TEST_F(Migration, TerminationLeavesNeitherKeyNorHalfACopy) {
  auto run = box_.run(R"(
    echo stale > /tmp/rc_key
    printf '#!/bin/sh\ntouch /mnt/work/deciphering; sleep 60' > $ZEVA_HOME/bin/rc4
    $ZEVA_HOME/bin/migration/zeva-migrate pkg log > output & pid=$!
    until [ -e deciphering ] || ! kill -0 $pid; do sleep 0.02; done
    ls /tmp; stat -c %a /tmp/rc_key; kill -HUP $pid; kill -TERM $pid; wait $pid; echo $?)");
  EXPECT_EQ(run.output, "migrate\nmigrate.lock\nmigrate_pkg\nrc_key\n600\n156\n");
  // The keyboard's signals reach the command, for which the run waits.
  for (char const* name : {"INT", "QUIT"}) {
    auto quit = box_.run("printf '#!/bin/sh\nkill -" + std::string(name) +
                         R"( $PPID $$' > $ZEVA_HOME/bin/rc4
      rm -r /tmp/*; $ZEVA_HOME/bin/migration/zeva-migrate pkg log > output; echo $?)");
    EXPECT_EQ(quit.output, "156\n") << name;
  }
  auto copying = box_.run(R"(truncate -s 1G large
    $ZEVA_HOME/bin/migration/zeva-migrate large log > output & pid=$!
    until [ -e /tmp/migrate_pkg-* ] || ! kill -0 $pid; do sleep 0.01; done
    kill -TERM $pid; wait $pid; echo $?)");
  EXPECT_EQ(copying.output, "156\n");
  EXPECT_EQ(box_.result(), result_text(-100));
  EXPECT_THAT(box_.tmp(), ElementsAre("migrate", "migrate.lock", "migrate_pkg"));
}

// The server's start waits ten seconds: the signals arrive there.
TEST_F(Migration, TerminationEndsItAtOnceWithoutCleanUp) {
  for (char const* name : {"INT", "QUIT", "TERM"}) {
    std::filesystem::remove(box_.home() / "xhtml/en/download/mig_result");
    auto run = box_.run("signal=" + std::string(name) + R"(
      rm -f log
      $ZEVA_HOME/bin/migration/zeva-migrate pkg /mnt/work/log > output & pid=$!
      until S99Reg status > /dev/null || ! kill -0 $pid; do sleep 0.1; done; sleep 1
      kill -$signal $pid; wait $pid; echo $?; ps -e | grep -c regserver; S99Reg stop)");
    EXPECT_EQ(run.output, "156\n1\n");
    EXPECT_EQ(box_.result(), result_text(-100));
    EXPECT_EQ(box_.log().size(), 6u);
  }
}

TEST_F(Migration, WatchdogRestores) {
  auto run = box_.run(R"(
    { echo [common]; echo Num=1:600
      for n in $(seq 600); do
        printf '[addressList%d]\nName=2:g%d\ndisplayName=2:g\ncomment=2:\n' $n $n
        echo address=2:a@example.com
      done; } > export/address.txt
    rm pkg; zeva-pack export pkg; migrate pkg /mnt/work/log)");
  EXPECT_EQ(run.status, 239) << run.output;
  expect_undone(
      -17,
      joined({kConfig, kExampleToAddresses, {"Timeout, restore all configurations."}, kRestore}));
}

// An alarm, or what the server writes last. Without a port of its own it has the usual one.
TEST_F(Migration, NothingThatHappensAtTheServersEndCounts) {
  struct {
    char const* setup;
    char const* at_stop;  // a shell command, once the server is gone
    int code;
  } const cases[] = {
      {"sed -i /PORT/d $ZEVA_HOME/bin/migration/RegSvrCfg.ini",
       "kill -ALRM $(pgrep -x zeva-migrate)", 0},
      {"rm export/misc.txt" REPACK, "echo '<half/>' > $ZEVA_HOME/config/cFlt_db.xml", -15},
  };
  for (auto const& test : cases) {
    auto run = box_.run(test.setup + std::string(R"(
    cd $ZEVA_HOME/bin/migration; [ -e real ] || mv S99Reg real
    cat > S99Reg << 'END'
#!/bin/sh
$ZEVA_HOME/bin/migration/real $1; [ $1 = start ] || )") +
                        test.at_stop + R"(
END
    chmod 755 S99Reg; cd /mnt/work; migrate pkg log)");
    EXPECT_EQ(run.status, test.code & 0xff) << run.output;
    EXPECT_EQ(box_.store() == before_, test.code != 0);
    before_ = box_.store();
  }
}

// Neither backups nor changes fit any more; what the log's last block takes does.
TEST_F(Migration, FullDiskLosesNothing) {
  auto run = box_.run(R"(
    cd $ZEVA_HOME/config; cp -a /mnt/config/. .
    S99Reg start; zeva-regdump > /mnt/work/before; cat cFlt_db.* > /mnt/work/files
    head -c 100M /dev/zero > filler 2> /mnt/work/errors
    cd /mnt/work; migrate pkg /mnt/work/log > output 2>&1; echo $?; ls $ZEVA_HOME/config/backup
    cat $ZEVA_HOME/config/cFlt_db.* | cmp files && zeva-regdump | cmp before && echo same)",
                      "--bind " + (box_.home() / "config").string() +
                          " /mnt/config --size 8000000 --tmpfs /opt/norva/zeva/config");
  EXPECT_EQ(run.output, "245\nsame\n");
  EXPECT_THAT(box_.log(), testing::Contains(testing::StartsWith("Error [258]: ")));
}

TEST_F(Migration, PutsBackOnlyItsOwnBackups) {
  box_.run(R"(
    S99Reg start
    rm $ZEVA_HOME/config/cFlt_db.xml.bak export/actionFile.txt
    mkdir $ZEVA_HOME/config/backup; echo old > $ZEVA_HOME/config/backup/cFlt_db.xml.bak
    rm pkg; zeva-pack export pkg; migrate pkg log)");
  EXPECT_EQ(box_.result(), result_text(-11));
  EXPECT_FALSE(std::filesystem::exists(box_.home() / "config/cFlt_db.xml.bak"));
  EXPECT_EQ(read_text(box_.home() / "config/backup/cFlt_db.xml.bak"), "old\n");
}

TEST_F(Migration, NeverDeletesItsOwnPackage) {
  for (char const* place : {"/tmp/migrate_pkg", "/tmp/rc_key", "/tmp/migrate/pkg"}) {
    auto run = box_.run("rm -f log; mkdir -p /tmp/migrate; cp pkg " + std::string(place) +
                        "; migrate " + place + " log > output; echo $?; cmp pkg " + place);
    EXPECT_EQ(run.output, "252\n");
    EXPECT_EQ(box_.log(), joined({kStart, {"Error [233]: backup package failed."}, end(-4)}));
  }
}

// The first copy fits, the second does not.
TEST_F(Migration, FullTmpKeepsNothing) {
  auto run = box_.run(
      "cat pkg > big; head -c 3000000 /dev/zero >> big; migrate big log > output; echo $?; ls /tmp",
      "--size 4000000 --tmpfs /tmp");
  EXPECT_EQ(run.output, "252\n");
}

// A link to a folder of our own, and, where this test may give files away, somebody else's folder.
TEST_F(Migration, LeavesWhatIsNotItsUnpackFolderAlone) {
  std::string const setups[] = {"mkdir -p other/kept; ln -s /mnt/work/other /tmp/migrate",
                                "mkdir -p /tmp/migrate/kept; chown nobody /tmp/migrate"};
  for (std::string const& setup : setups) {
    if (&setup == &setups[1] && geteuid() != 0) break;
    auto run = box_.run("rm -rf log /tmp/migrate; " + setup +
                        "; migrate pkg /mnt/work/log > output; echo $?; ls /tmp /tmp/migrate/");
    EXPECT_EQ(run.output, "254\n/tmp:\nmigrate\n\n/tmp/migrate/:\nkept\n");
    EXPECT_EQ(box_.log()[2], "Error [245]: make temp dir failed.");
  }
}

// Its archive gives the unpack folder another owner and mode; the clean-up empties it all the same.
TEST_F(Migration, TakesItsUnpackFolderBack) {
  auto run = box_.run(R"(
    mkdir p; cp -a export/. p; chmod 700 p; rm p/actionFile.txt
    (cd p; md5sum misc.txt > md5.sum; tar czf ../pkg --owner=1234 --mode=0500 ./)
    rc4 -enc -in pkg -key key; migrate pkg /mnt/work/log > output; echo $?
    ls -ld /tmp/migrate | cut -c1-10)");
  EXPECT_EQ(run.output, "245\ndrwxr-xr-x\n");
  EXPECT_THAT(box_.tmp(), ElementsAreArray(kCleanTmp));
}

TEST_F(Migration, OddNamesAreNamesAndNotCommands) {
  auto run = box_.run(R"(
    odd="/mnt/work/it's a \$(touch ran) home"
    cp -a $ZEVA_HOME "$odd"
    cp pkg "./-p'kg"
    mkdir -p /tmp/migrate/.hidden/deep
    (cd /tmp/migrate && touch -- -x "a b" "'; touch ran; '" $(printf "%255s" | tr ' ' "'"))
    ZEVA_HOME=$odd
    faketime -f '+0 x30' "$odd/bin/migration/zeva-migrate" "-p'kg" /mnt/work/log)");
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_THAT(box_.tmp(), ElementsAreArray(kCleanTmp));
  EXPECT_FALSE(std::filesystem::exists(box_.work() / "ran"));
}

TEST_F(Migration, ClosedOutputAndIgnoredSignalsDoNotEndIt) {
  for (char const* output : {">&-", "<&- >&- 2>&-", "| true"}) {
    // Debian 13's faketime would keep its shared memory open in the closed output's place.
    box_.run("export FAKETIME_DISABLE_SHM=1; rm -f log; migrate pkg /mnt/work/log " +
             std::string(output));
    EXPECT_EQ(box_.result(), result_text(0)) << output;
    EXPECT_THAT(box_.log(), testing::Contains("End migration(0).")) << output;
  }
  // A pipe that was handed to it gets no other reader.
  auto run = box_.run(R"(migrate=$ZEVA_HOME/bin/migration/zeva-migrate
    { until [ -e left ]; do sleep 0.02; done
      timeout 20 $migrate nope /dev/fd/3 > output 2>&1; echo $? > ended; } 3>&1 |
      (exec <&-; touch left)
    cat ended
    # Whoever started it may wait for no children: it still learns how its commands end.
    echo > bad; env --ignore-signal=CHLD $migrate bad log > output; echo $?
    # And may hold signals back: they still end it while it waits for its package, a pipe.
    mkfifo pipe; env --block-signal=TERM $migrate pipe log > output & pid=$!
    until ps -e | grep -q ' cp$'; do sleep 0.02; done
    kill -TERM $pid; : > pipe; wait $pid; echo $?)");
  EXPECT_EQ(run.output, "255\n251\n156\n");
}

INSTANTIATE_TEST_SUITE_P(Results, Failure, testing::ValuesIn(kCases),
                         [](auto const& test) { return test.param.name; });

}  // namespace
