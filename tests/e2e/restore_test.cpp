// The installed zeva-restore after a migration: the backup comes back whole, and nothing else does.

#include "sandbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>

namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// In the scripts of these tests `fresh` lays out the home as the migration has left it, `files`
// prints what its store's files hold, `steps` is a second zeva-restore, made to fail, and
// `service` makes the service script do something before all else.
constexpr char kTools[] = R"(
    cfg=$ZEVA_HOME/config; db=$cfg/cFlt_db.xml; bak=$cfg/backup/cFlt_db.xml
    fresh() { rm -rf $cfg; cp -a saved $cfg; }
    files() { cat $1/cFlt_db.xml $1/cFlt_db.xml.redo $1/cFlt_db.xml.bak | md5sum; }
    steps() { LD_LIBRARY_PATH=$ZEVA_HOME/lib ./zeva-restore "$@"; }
    script=$ZEVA_HOME/bin/migration/S99Reg; [ -e real ] || cp -p $script real
    service() { printf '#!/bin/sh\n%s\nexec ./real "$@"\n' "$1" > $script; }
    )";

class Restore : public testing::Test {
 protected:
  Restore() {
    // A copy: the folder that this was built in need not be seen in the sandbox.
    std::filesystem::copy(RESTORE_STEPS, box_.work() / "zeva-restore");
    auto const done = run(R"(
      sed -i s/=2:SmartHost/=2:RelayPassword/ export/misc.txt
      zeva-pack export pkg; migrate pkg log > lines || cat lines; cp -a $cfg saved
      mkdir -p old/config; cp -a $cfg/backup/. old/config
      zeva-regdump > former; zeva-regdump --home old > backed; ! cmp -s former backed)");
    EXPECT_EQ(std::to_string(done.status) + done.output, "0");
  }

  Sandbox::Outcome run(std::string const& script) { return box_.run(kTools + script); }

  Sandbox box_;
};

TEST_F(Restore, PutsTheBackupBackAndKeepsWhatWasThere) {
  for (bool const runs : {false, true}) {
    char const* const setup =
        runs ? "S99Reg start; mv $cfg/backup x; ln -s $PWD/x $cfg/backup;" : "";
    auto const done = run("fresh; chmod 640 $bak; [ $(id -u) != 0 ] || chown 12:34 $bak; " +
                          std::string(setup) + R"sh(
      files $cfg > then
      COLUMNS=20 ZEVA_HOME=/nowhere zeva-restore --home $ZEVA_HOME/. --yes > shown 2>&1; echo $?
      S99Reg status | cut -d' ' -f-3; S99Reg stop
      zeva-regdump | cmp - backed
      files $cfg/before-restore-* | cmp - then; stat -c %a $cfg/before-restore-*/* | uniq
      [ -z "$(find $cfg -name '.zeva-*' -o -name migrate.lock)" ] || echo left behind
      zeva-restore --yes; ls -d $cfg/before* | wc -l; grep -v '^    *[~+-]' shown)sh");
    std::string const head = runs ? "0\nregserver is running\n" : "0\nregserver is not\n";
    EXPECT_THAT(done.output,
                StartsWith(head + "600\nNothing to change: the store is what the backup holds.\n1\n"
                                  "The backup in /opt/norva/zeva/config/backup, made "));
    EXPECT_THAT(done.output, ContainsRegex("\nChanges in the store: .* gained, .* lost, .*\n"
                                           "The backup has been put back. What stood there before "
                                           "is in /opt/norva/zeva/config/before-restore-"));
    if (runs) continue;
    EXPECT_EQ(run("files $cfg > a; files $cfg/backup | cmp - a; stat -c '%a %u' $db").output,
              geteuid() == 0 ? "640 12\n" : "640 " + std::to_string(geteuid()) + "\n");
  }
  // What the migration has changed, the other way round.
  std::string const shown = read_text(box_.work() / "shown");
  EXPECT_THAT(shown, HasSubstr("\n  - registry\\policy\\Rule\\Mail"));
  EXPECT_THAT(shown, ContainsRegex("\n  -     RelayPassword=.*masked"));
}

TEST_F(Restore, AsksOnTheTerminal) {
  EXPECT_EQ(run("zeva-restore < /dev/null > shown; echo $?; zeva-regdump | cmp - former").output,
            "zeva-restore: nothing was changed: there is no terminal to ask on; --yes restores "
            "unasked\n3\n");
  struct Case {
    char const* answer;
    int status;
    char const* store;
  };
  for (Case const& c : {Case{"echo", 3, "former"}, Case{"printf '\\003'", 130, "former"},
                        Case{"printf '\\004'", 3, "former"}, Case{"echo YES", 0, "backed"}}) {
    auto const done =
        run("fresh; (until grep -qs 'y/N' typed; do sleep 0.1; done; " + std::string(c.answer) +
            "; sleep 1) | script -qefc zeva-restore typed > shown; echo $?; rm typed; "
            "zeva-regdump | cmp - " +
            c.store);
    EXPECT_EQ(done.output, std::to_string(c.status) + "\n") << c.answer;
  }
}

TEST_F(Restore, RefusesWhatItCannotTrust) {
  std::string const home = "/opt/norva/zeva", config = home + "/config";
  std::string const backup = config + "/backup", damaged = home + ": the backup is damaged: ";
  struct Case {
    char const* setup;
    std::string error;  // what its one line begins with
    char const* command = "zeva-restore --yes";
    int status = 1;
  };
  for (
      Case const& c : {
          Case{"rm -r $cfg/backup",
               home + ": there is no backup; no migration has come as far as making one\n"},
          Case{"rm $cfg/backup/*", home + ": the backup is not whole: " + backup + "/cFlt_db.xml "},
          Case{"rm $bak.bak", home + ": the backup is not whole: " + backup +
                                  "/cFlt_db.xml.bak is missing; if the store had no such file "
                                  "before the run, move " +
                                  config + "/cFlt_db.xml.bak away"},
          Case{"mv $cfg/backup x; : > y; ln -s $PWD/y $cfg/backup",
               home + ": " + backup + ": it is not a folder\n"},
          Case{"mv $cfg/backup x; ln -s $PWD/x $cfg/backup; chown -h 9 $cfg/backup",
               home + ": " + backup + ": it is a link that somebody else has made; "},
          Case{"mv $cfg/backup x; chmod g+w x; ln -s $PWD/x $cfg/backup",
               home + ": " + backup + ": it is a link to a folder that others can write to\n"},
          Case{"mv $bak x; ln -s /mnt/work/x $bak",
               home + ": " + backup + "/cFlt_db.xml: it is not a regular file\n"},
          Case{"rm $bak.redo; mkfifo $bak.redo",
               home + ": " + backup + "/cFlt_db.xml.redo: it is not a regular file\n"},
          Case{"rm $bak.bak; mkdir $bak.bak",
               home + ": " + backup + "/cFlt_db.xml.bak: it is not a regular file\n"},
          Case{"mv $db x; ln -s /mnt/work/x $db",
               home + ": " + config + "/cFlt_db.xml: it is not a regular file\n"},
          Case{"rm $db.redo; mkfifo $db.redo",
               home + ": " + config + "/cFlt_db.xml.redo: it is not a regular file\n"},
          Case{"sed -i s/registry/registri/ $bak", damaged + backup + "/cFlt_db.xml: "},
          Case{"for f in $bak $bak.redo $bak.bak; do : > $f; done", damaged + "the store cannot"},
          Case{"echo more >> $bak.redo", damaged + backup + "/cFlt_db.xml.redo: "},
          Case{"cp $bak.redo x; S99Reg start; S99Reg stop; cp $db $bak",
               home + ": the backup is of two migrations: its log does not continue its snapshot"},
          Case{"", home + ": the backup changes while it is read\n", "RESTORE_GROWS=5 steps --yes"},
          Case{
              "mkdir -p bin; printf '#!/bin/sh\nzeva-restore --yes 2> /mnt/work/refused' > bin/rc4;"
              "chmod +x bin/rc4",
              home + ": a migration is running, process ",
              "PATH=$PWD/bin:$PATH migrate pkg log > lines; cat refused >&2; false"},
          Case{"", "nothing was changed: a registry server still has the store open\n",
               "flock $cfg zeva-restore --yes > shown"},
          Case{"", "the changes cannot be shown: standard output cannot be written\n",
               "zeva-restore --yes > /dev/full"},
          Case{"", "gone: is no home: it has no folder config\n", "zeva-restore --home gone"},
          Case{"", "not expected: more: see --help\n", "zeva-restore more", 2},
      }) {
    if (std::string(c.setup).find("chown") != std::string::npos && geteuid() != 0) continue;
    auto const done = run("fresh; rm -rf x; " + std::string(c.setup) + R"(
      rm -f $cfg/migrate.lock; ls -lA --time-style=full-iso $cfg > then
      { )" + c.command + R"(; } > out 2> err; echo $? >> out
      ls -lA --time-style=full-iso $cfg | diff then - > changed || cat changed
      [ ! -s then ] || cat err; tail -n 1 out)");
    EXPECT_THAT(done.output, StartsWith("zeva-restore: " + c.error)) << c.setup;
    EXPECT_THAT(done.output, testing::EndsWith("\n" + std::to_string(c.status) + "\n"));
  }
}

// Whatever ends it, and whenever: the store is the former one or the backup's, and says nothing of
// damage; it can be restored again.
TEST_F(Restore, EndedAnywhereLeavesOneWholeStore) {
  auto const done = run(R"sh(
    try() {
        for n in $(seq 100); do
            fresh
            RESTORE_STEP=$n steps --yes > out 2> err; status=$?
            zeva-regdump > now 2> notes || echo "step $n: no store"
            [ ! -s notes ] || { echo "step $n:"; cat notes; }
            [ $status != 0 ] || break
            store=backed; ! cmp -s now former || store=former
            cmp now $store
            says=$(grep -c "nothing was changed" err)
            case $status,$store,$says in 137,*,0 | 1,former,1 | 1,backed,0) ;;
            *) echo "step $n: $status, $store"; cat err ;;
            esac
            for kept in $cfg/before-*; do
                [ $status = 137 ] || [ ! -e $kept ] || grep -q $kept err || echo "step $n: $kept"
            done
            zeva-restore --yes > out 2>&1 || cat out
            zeva-regdump 2>&1 | cmp - backed
        done
        echo "$(($n > 20))"
    }
    RESTORE_FAILS=1; export RESTORE_FAILS; try; unset RESTORE_FAILS
    fresh; S99Reg start; S99Reg stop; rm -r saved; cp -a $cfg saved; try
    fresh; RESTORE_TELLS=1 steps --yes 2>&1 > out)sh");
  // A copy of the backup, the snapshot that holds it all, what is kept; then one after the other is
  // put in place.
  EXPECT_EQ(done.output,
            "1\n1\n"
            "wffwffwffd"
            "wffd"
            "wffwffwffd"
            "rd"
            "rdrdrdrd");
}

// Who ends it while it waits for a server that takes its time ends the probe for the server, too.
TEST_F(Restore, NeverTakesAServerForGoneThatStillRuns) {
  auto const done = run(R"sh(
    mkdir bin; printf '#!/bin/sh\n[ ! -e told ] || { : > hit; kill -TERM 0; }
                       exec /bin/ps -ef' > bin/ps; chmod +x bin/ps
    service 'case $1 in stop) : > told ;; start) cp gone found ;; esac; exit 0'
    sh -c 'for i in $(seq 600); do [ ! -e hit ] || break; sleep 0.1; done; sleep 3; : > gone' \
        regserver &
    PATH=$PWD/bin:$PATH setsid -w zeva-restore --yes > shown; echo $?; ls hit found
    kill $! 2> /dev/null; wait)sh");
  EXPECT_EQ(done.output, "0\nfound\nhit\n");
}

// Whatever goes wrong once the server has been told to stop, it runs again, or a line says that it
// does not.
TEST_F(Restore, LeavesNoServerDownWithoutAWord) {
  std::string const server = "the registry server", started = "regserver is running";
  std::string const script = ": /opt/norva/zeva/bin/migration/S99Reg ", down = "regserver is not";
  std::string const unstopped =
      "nothing was changed, as the registry server cannot be stopped" + script + "cannot be run\n";
  std::string const unstarted = server + " cannot be started" + script + "start says why\n";
  std::string const kept = "; the former files are in $cfg/KEPT: ";
  struct Case {
    char const* setup;
    std::string says;
    std::string server;
    char const* command = "zeva-restore --yes";
  };
  for (Case const& c : {
           Case{"rm $script", unstopped + server + ": it runs\n", started},
           Case{"chmod -x $script", unstopped + server + ": it runs\n", started},
           Case{"service '[ $1 != stop ] || { ./real stop; exit 126; }'",
                unstopped + server + ": it runs\n", started},
           Case{"service '[ $1 != stop ] || ./real stop; exit 126'", unstopped + unstarted, down},
           Case{"service '[ $1 != start ] || exit 1'", unstarted, down},
           Case{"for f in $db $bak; do rm $f*; echo $f > $f; echo $f > $f.redo; done",
                "some files are the backup's: run this again before a server" + kept +
                    "$db: Input/output error\n" + server +
                    ": it was stopped, and not started again\n",
                down, "RESTORE_FAILS=1 RESTORE_STEP=19 steps --yes"},
           Case{"", "nothing was changed: there is not enough memory\n", started,
                "RESTORE_FAILS=2 RESTORE_STEP=12 steps --yes"},
           Case{"",
                "the store is the backup's, though not all of its files are" + kept +
                    "there is not enough memory\n",
                started, "RESTORE_FAILS=2 RESTORE_STEP=28 steps --yes"},
           Case{"",
                "the store is the backup's; the former files are in $cfg/KEPT: there is not enough "
                "memory\n",
                started, "RESTORE_STARTS=1 steps --yes > shown"},
       }) {
    auto const done = run("fresh; cp -p real $script; S99Reg start; " + std::string(c.setup) +
                          "\n{ " + c.command + R"(; } > out 2> err; echo $?
      sed "s/^zeva-restore: //; s|$db|\$db|; s|$cfg|\$cfg|; s/before-restore[-0-9]*/KEPT/" err
      ./real status | cut -d' ' -f-3; ./real stop)");
    EXPECT_EQ(done.output, "1\n" + c.says + c.server + "\n") << c.setup;
  }
}

// On a gateway with a server of its own, whose files say nothing here.
TEST_F(Restore, AnotherServersFilesArePutBackUnread) {
  auto const done = run(R"(
    for f in $db $db.redo; do echo now > $f; done; rm $db.bak
    for f in $bak $bak.redo; do echo before > $f; done; rm $bak.bak
    touch -d '2026-01-02 03:04:05' $db $db.redo $bak $bak.redo
    kept=$cfg/before-restore-20260304-050607; mkdir $kept; touch $kept/used $kept-2
    faketime -f '2026-03-04 05:06:07' zeva-restore --yes
    echo $?; cat $db $db.redo $kept-3/*; stat -c %.10y $db; ls $db.bak)");
  EXPECT_THAT(done.output, HasSubstr("what changes in the store cannot be shown.\n"
                                     "  /opt/norva/zeva/config/cFlt_db.xml: 4 bytes of 2026-01-02 "
                                     "03:04:05\n"
                                     "  /opt/norva/zeva/config/backup/cFlt_db.xml: 7 bytes of "));
  EXPECT_THAT(done.output, HasSubstr("cFlt_db.xml.bak: none\n"));
  EXPECT_THAT(done.output, HasSubstr("\n0\nbefore\nbefore\nnow\nnow\n2026-01-02\nls: "));
}

}  // namespace
