// The installed zeva-rehearse, over the store of a gateway that goes on serving.

#include "digest.h"
#include "loader.h"
#include "package_key.h"
#include "plan.h"
#include "product_home.h"
#include "registry_client.h"
#include "schema.h"
#include "scratch_home.h"
#include "secrets.h"
#include "work_folder.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>
#include <regex>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class Rehearse : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    installed = new WorkFolder;
    // A gateway's own home need not have a factory's store.
    auto const done = installed->sh(CMAKE_PROGRAM " --install " BUILD_FOLDER
                                                  " --prefix home && rm home/config/factory.xml");
    ASSERT_EQ(done.exit_status, 0) << done.error;
    // What runs in the sandbox tries to write into the home that it has been given to read.
    installed->sh(R"(cd home/bin; mv rc4 real; cp real rc4; cat > rc4 << 'END'
#!/bin/sh
[ -z "$REHEARSED" ] || touch $REHEARSED/config/x ${0%/*}/x 2> /dev/null
readlink /proc/$$/fd/* | grep -q '/\(plan\|page\)[.]' && exit 1
exec ${0%/*}/real "$@"
END
)");
  }
  static void TearDownTestSuite() { delete installed; }

  Rehearse() {
    fs::copy(EXAMPLE_FOLDER, work_ / "export", fs::copy_options::recursive);
    home_.start();
    client_.emplace(home_.address());
    client_->create("registry\\policy\\Rule\\Mail\\rules\\Old");
    fs::create_directories(work_ / "tmp");
    before_ = traces();
  }

  // Whatever was rehearsed, its home is byte for byte what it was, and its server serves.
  void TearDown() override {
    EXPECT_EQ(traces(), before_);
    EXPECT_EQ(client_->create("registry\\policy\\Rule\\Mail\\rules\\Old\\new"), NVREG_OK);
  }

  void edit(std::string const& file, std::string const& expression) {
    ASSERT_EQ(work_.sh("sed -i '" + expression + "' export/" + file).exit_status, 0);
  }

  void pack(std::string const& package) {
    package_ = work_ / package;
    ASSERT_EQ(work_.sh(*installed / "home/bin/zeva-pack export " + package).error, "");
  }

  // The command, with the waits of the run in it shortened, and with a variable set that means
  // something only in the sandbox.
  std::string command() {
    return "ZEVA_REHEARSAL=x REHEARSED=" + home_.path() +
           " TMPDIR=\"$PWD/tmp\" LD_PRELOAD='/usr/$LIB/faketime/libfaketime.so.1' "
           "FAKETIME='+0 x30' "
           "ASAN_OPTIONS=verify_asan_link_order=0 env --default-signal=INT " +
           *installed / "home/bin/zeva-rehearse --from " + from_ + " " + package_;
  }

  zeva::CommandResult rehearse(std::string const& options = "") {
    return work_.sh(command() + options);
  }

  std::string on_a_terminal(std::string const& variables) {
    work_.write("line", command());
    std::string text =
        work_.sh(variables + " script -qec 'stty cols 40; sh line' /dev/null").output;
    std::erase(text, '\r');
    return text;
  }

  // Everything in the home and in /tmp that a rehearsal could change.
  std::string traces() {
    return work_
        .sh("ls -A tmp; ls -A /tmp | grep rehears; cd " + home_.path() +
            "; ls -lAR --time-style=full-iso; cat config/cFlt_db.xml*; ls " +
            *installed / "home/bin")
        .output;
  }

  static inline WorkFolder* installed;
  WorkFolder work_;
  ScratchHome home_;
  std::optional<RegistryClient> client_;
  std::string from_ = home_.path();
  std::string package_ = work_ / "export";  // packed on the way
  std::string before_;
};

TEST_F(Rehearse, AGoodPackage) {
  edit("scanlimit.txt", "$aFun=1:1");
  pack("pkg");
  // A gateway's server is there; the sandbox does not see it.
  int const gateway = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(zeva::kRegistryPort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  (void)bind(gateway, reinterpret_cast<sockaddr*>(&address), sizeof address);
  listen(gateway, 1);
  auto const done = rehearse(" --json --exit-code --html page --mask registry\\\\config");
  close(gateway);
  auto again = nlohmann::json::parse(rehearse(" --json --mask registry\\\\config").output);
  ASSERT_EQ(done.exit_status, 4) << done.error << done.output;
  EXPECT_EQ(done.error, "");
  expect_valid(again.dump());
  expect_valid(done.output);
  std::string const page = work_.read("page");
  EXPECT_THAT(page, testing::EndsWith("</html>\n"));
  EXPECT_THAT(
      page,
      HasSubstr(
          "<th scope=\"row\" class=\"gained\">+ RetryMinutes</th><td>(none)</td><td>(masked)"));
  EXPECT_LE(page.size(), 250u << 10);
  EXPECT_EQ(fs::status(work_ / "page").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);

  auto report = nlohmann::json::parse(done.output);
  EXPECT_EQ(report["result"], 0);
  EXPECT_EQ(report["factory_store"], false);
  EXPECT_EQ(report["before_sha256"], zeva::store_digest(*zeva::load_store(home_.config("")).root));
  EXPECT_EQ(report["notes"].size(), 0u) << report["notes"];
  EXPECT_THAT(done.output, HasSubstr(R"({"severity":"loss","kind":"unread-key",)"
                                     R"("file":"scanlimit.txt","section":"common","key":"Fun",)"
                                     R"("text":"no importer asks for this key","advice":)"));
  std::vector<std::string> troubles;
  for (auto const& line : report["log"]) {
    if (line["trouble"]) troubles.push_back(line["file"]);
  }
  EXPECT_THAT(troubles, testing::UnorderedElementsAre("action8.txt", "quarantine.txt",
                                                      "tasks/antispam-service.txt",
                                                      "tasks/antispam-cardiff.txt"));
  std::map<std::string, std::string> changes;
  for (auto const& change : report["changes"]) changes[change["key"]] = change["change"];
  EXPECT_EQ(changes["registry\\policy\\Rule\\Mail\\rules\\Old"], "lost");
  EXPECT_EQ(changes["registry\\policy\\Rule\\Mail\\rules\\Cardiff"], "gained");
  EXPECT_EQ(changes["registry\\policy\\Rule\\Mail"], "changed");
  EXPECT_THAT(done.output, HasSubstr(R"("after":{"name":"RetryMinutes","type":"masked"})"));
  for (auto* const each : {&report, &again}) {
    each->erase("log");
    each->erase("target");
  }
  EXPECT_TRUE(report == again);
}

TEST_F(Rehearse, AHostilePackageShowsNoControlBytes) {
  edit("globalPolicy.txt",
       "s/^displayName=.*/displayName=2:\\x1b[2J\\x9b/; s/^name=.*/name=2:\\x1b]0;x/; "
       "s,tasks/size.txt,link.txt,; s,tasks/disclaimer.txt,tasks/../tasks/disclaimer.txt,");
  work_.write("export/\033[2J'$(touch x).txt", "");
  work_.write("key", {zeva::kPackageKey.begin(), zeva::kPackageKey.end()});
  pack("pkg");
  auto const added = work_.sh(
      "set -e; PATH=" + *installed / "home/bin:$PATH; ln -s /etc/passwd export/link.txt; " +
      "rc4 -dec -in pkg -key key; mv pkg t.gz; gunzip t.gz; tar -rf t -C export link.txt; "
      "gzip t; mv t.gz pkg; rc4 -enc -in pkg -key key");
  ASSERT_EQ(added.exit_status, 0) << added.error;
  for (bool const on_terminal : {false, true}) {
    std::string const text = on_terminal ? on_a_terminal("TERM=xterm") : rehearse().output;
    EXPECT_THAT(text, HasSubstr("registry\\policy\\Rule\\\\x1b]0;x"));
    EXPECT_THAT(text, HasSubstr("\\x1b[2J'$(touch x).txt"));
    for (std::string const outside : {"link.txt", "tasks/../tasks/disclaimer.txt"}) {
      EXPECT_THAT(text,
                  HasSubstr("\n  " + outside + "\n    loss: the task: the file cannot be read;"));
    }
    for (std::string const forbidden : {"\033]", "\033[2J", "\x9b"}) {
      EXPECT_THAT(text, Not(HasSubstr(forbidden)));
    }
    EXPECT_EQ(text.find("\033[32m") != std::string::npos, on_terminal);
    EXPECT_EQ(text.find("\033[K  waiting ") != std::string::npos, on_terminal);
    EXPECT_THAT(text, Not(testing::ContainsRegex("  waiting [^\033\n]{30}")));
  }
}

TEST_F(Rehearse, WhatIsNoPackageOrNoHomeIsSaid) {
  package_ = work_ / "tmp";
  auto done = rehearse();
  EXPECT_EQ(done.exit_status, 1);
  EXPECT_THAT(done.error, StartsWith("zeva-rehearse: the folder cannot be packed: zeva-pack: " +
                                     package_ + ": holds no export file at its top"));

  package_ = work_ / "pkg";
  work_.write("pkg", "no package");
  done = rehearse();
  EXPECT_EQ(done.exit_status, 251);
  EXPECT_THAT(done.output, HasSubstr("  -5: the package could not be unpacked"));
  EXPECT_THAT(done.output, HasSubstr("  The package could not be looked at: "));

  std::string const check = *installed / "home/bin/zeva-rehearse --check ";
  done = work_.sh(check + "pkg");
  EXPECT_EQ(done.exit_status, 1);
  EXPECT_THAT(done.error, StartsWith("zeva-rehearse: " + package_ + ": "));
  edit("scanlimit.txt", "$aFun=1:1");
  EXPECT_EQ(work_.sh(check + "export").exit_status, 3);

  fs::remove(work_ / "pkg");
  done = rehearse();
  EXPECT_EQ(done.exit_status, 255);
  EXPECT_THAT(done.output, HasSubstr("  -1: the package does not exist."));
  for (std::string const plain : {"TERM=xterm NO_COLOR=1", "TERM=dumb NO_COLOR="}) {
    EXPECT_THAT(on_a_terminal(plain), Not(HasSubstr("\033"))) << plain;
  }
  EXPECT_THAT(on_a_terminal("TERM=xterm NO_COLOR="), HasSubstr("\033[31mVerdict: not imported"));

  EXPECT_EQ(rehearse(" --html tmp").error,
            "zeva-rehearse: tmp: is no file that could be replaced\n");
  from_ = work_ / "gone";
  EXPECT_EQ(rehearse().error,
            "zeva-rehearse: " + (work_ / "gone") + ": is no folder to take a store from\n");
}

// On a machine of its own, with the home's commands in PATH.
TEST_F(Rehearse, LooksAtTheMachine) {
  std::string const home = work_ / "home";
  fs::copy(*installed / "home", home, fs::copy_options::recursive);
  for (char const* file : {"", ".redo", ".bak"}) {
    fs::copy(home_.config("cFlt_db.xml") + file, home + "/config");
  }
  std::string const bwrap =
      "bwrap --die-with-parent --dev-bind / / --unshare-pid --unshare-net --proc /proc ";
  std::string const seen = " until grep -qs sleep /proc/$!/cmdline; do sleep 0.1; done";
  struct Machine {
    std::string finding;  // empty for none
    std::string setup;
    std::string disk = {}, mount = {};  // options of bwrap
  };
  for (Machine const& machine : {
           Machine{"", "touch /tmp/rc_key", "", " --ro-bind $H/xhtml $H/xhtml"},
           {geteuid() == 0 ? R"("in-the-way","file":"/tmp/migrate")" : "",
            "mkdir /tmp/migrate && chown 65534 /tmp/migrate"},
           {"", "touch /tmp/rc_key && chown 65534 /tmp/rc_key"},
           {R"("not-writable","file":"$H/config")", "", "", " --ro-bind $H/config $H/config"},
           {R"("no-room","file":"/tmp")", "", "--size 4096 "},
           {"", "S99Reg start"},
           {R"("port","file":"127.0.0.1:5069")", "cp -r $H /tmp/x; ZEVA_HOME=/tmp/x S99Reg start"},
           {R"("in-the-way","file":"/tmp/migrate_pkg")", "mkdir /tmp/migrate_pkg"},
           {R"("no-command","file":"rc4")", "PATH=/usr/bin:/bin"},
           {R"("active-run","file":"$H")",
            "mkfifo pipe; zeva-migrate pipe log >&2 & until [ -e $H/config/migrate.lock ]; do "
            "sleep 0.1; done; rm /tmp/migrate.lock"},
           {R"("active-run","file":"$H")",
            "mkdir -p /tmp/x/config; mkfifo pipe; ZEVA_HOME=/tmp/x zeva-migrate pipe log >&2 & "
            "until [ -e /tmp/x/config/migrate.lock ]; do sleep 0.1; done"},
           {R"("false-server","file":"/proc/)", "sh -c 'sleep 99; : regserver' &" + seen},
           {"", "sh -c 'sleep 99; : grep regserver' &" + seen},
           {R"("false-server","file":"/proc/)", "[ $1 ] || exec sh line regserver"},
           {"", "ln -s $H /tmp/regserver; H=/tmp/regserver RUN='timeout 99'"},
       }) {
    work_.write("line", "export ZEVA_HOME=$H PATH=$H/bin:$H/bin/migration:$PATH\n" + machine.setup +
                            "\n$RUN $H/bin/zeva-rehearse --check --json --from $H "
                            "export; status=$?; kill %1 2>&-; exit $status");
    auto const done = work_.sh("export H=" + home + "; " + bwrap + machine.disk +
                               "--tmpfs /tmp --bind " + work_.path() + " " + work_.path() +
                               machine.mount + " sh line; s=$?; rm -f pipe; exit $s");
    std::string const wanted = std::regex_replace(machine.finding, std::regex(R"(\$H)"), home);
    EXPECT_EQ(done.exit_status, wanted.empty() ? 0 : 4)
        << machine.setup << done.output << done.error;
    EXPECT_THAT(done.output, HasSubstr(wanted));
    expect_valid(done.output);
  }
}

// It begins with its own factory's store, and finds its server whatever the package is called.
TEST_F(Rehearse, ANewHome) {
  from_ = work_ / "new";
  fs::create_directories(from_ + "/config");
  work_.sh("sed 's/>10000</>12345</' " + home_.config("factory.xml") + " > new/config/factory.xml");
  pack("regserver.pkg");
  auto const done = rehearse(" --json --exit-code --save plan --mask Nowhere");
  EXPECT_EQ(done.exit_status, 3);
  EXPECT_EQ(done.error,
            "zeva-rehearse: Nowhere: is no key of the store: --mask has masked nothing there\n");
  EXPECT_THAT(work_.sh(*installed / "home/bin/zeva-rehearse --valid plan").output,
              HasSubstr("\nThe store is as it was rehearsed.\n"));
  EXPECT_THAT(done.output, HasSubstr(R"("before":{"name":"MaxDecompressCount","type":"dword",)"
                                     R"("value":12345})"));
  EXPECT_THAT(done.output, HasSubstr(R"("kind":"package-name")"));
  expect_valid(done.output);
  package_ = work_ / "regserver.gone";
  std::string const failed = rehearse(" --json").output;
  EXPECT_THAT(failed, HasSubstr("package " + package_ + " don't exists"));
  expect_valid(failed);
}

TEST_F(Rehearse, APlanIsHeldAgainstWhatIsThere) {
  // Secrets in the store, in what is imported, in a key that nobody asks for, and in a value that
  // is told of as no number.
  client_->create("Proxy");
  EXPECT_EQ(client_->set("Proxy", "Token", NVREG_STRING, "canary-1"), NVREG_OK);
  edit("misc.txt",
       "s/=2:SmartHost/=2:RelayPassword/; s/^Value=2:smtp.*/Value=2:canary-2/; "
       "s/=2:MaxQueueLength/=2:Passcode/; s/^Value=1:4294967295/Value=1:98765canary/");
  edit("scanlimit.txt", "$aapiKey=2:canary-4");
  // And sixteen that change, by eight names.
  std::string misc = work_.read("export/misc.txt");
  misc.replace(misc.find("Num=1:9"), 7, "Num=1:17");
  int section = 9;
  for (std::string const name : {"Password", "Proxy passwd", "ApiKey", "private_key", "PassPhrase",
                                 "SharedSecret 2", "pwd", "Access-Key"}) {
    EXPECT_EQ(client_->set("Proxy", name, NVREG_STRING, "canary-old-" + name), NVREG_OK);
    ++section;
    misc += "[Section" + std::to_string(section) + "]\nKeyName=2:Proxy\nValueName=2:" + name +
            (section % 2 == 0 ? "\nValue=2:" : "\nValue=3:a;") + "canary-new-" + name + "\n";
  }
  work_.write("export/misc.txt", misc);
  before_ = traces();
  pack("pkg");
  work_.write("plan", "old");
  auto done = rehearse(" --save plan --html page --mask registry\\\\policy");
  ASSERT_EQ(done.exit_status, 0) << done.error;
  EXPECT_THAT(done.output, HasSubstr("  +     RelayPassword=(masked)\n"));
  EXPECT_THAT(done.output, HasSubstr("  -     pwd=(masked)\n  +     pwd=(masked)\n"));
  std::string const verdict = done.output.substr(9, done.output.find('\n') - 9);
  EXPECT_THAT(verdict, HasSubstr("warning"));
  EXPECT_THAT(work_.read("plan"), HasSubstr("\"verdict\":\"" + verdict + "\""));
  auto const json = rehearse(" --json --mask registry\\\\policy");
  expect_valid(json.output);
  for (std::string const& text :
       {done.output, done.error, work_.read("plan"), work_.read("page"), json.output, json.error}) {
    EXPECT_EQ(text.find("canary"), text.npos);
    EXPECT_EQ(text.find("Archive the attachments"), text.npos);
  }
  EXPECT_THAT(work_.sh(*installed / "home/bin/zeva-rehearse --check export").output,
              AllOf(HasSubstr("misc.txt"), Not(HasSubstr("98765")), Not(HasSubstr("canary"))));
  EXPECT_EQ(work_.sh("stat -c %a plan; ls").output, "600\nexport\npage\npkg\nplan\ntmp\n");
  std::string const held = *installed / "home/bin/zeva-rehearse ";
  // One that is told of as the file has it.
  edit("scanlimit.txt", "s/^MaxVirusCount=.*/MaxVirusCount=2:canary\\x036/");
  EXPECT_THAT(work_.sh(held + "--check --mask registry export").output,
              HasSubstr("MaxVirusCount: \"2:(masked)\" is not a number"));
  done = work_.sh(held + "--valid plan");
  EXPECT_EQ(done.exit_status, 0) << done.error;
  EXPECT_EQ(done.output,
            "The package is the plan's: " + package_ + "\nThe store is as it was rehearsed.\n");
  work_.write("other", "");
  EXPECT_EQ(work_.sh(held + "--valid plan other").exit_status, 3);
  client_->create("XFilter\\New");
  done = work_.sh(held + "--valid plan other");
  EXPECT_EQ(done.exit_status, 3);
  EXPECT_EQ(done.output,
            "The package is another one: other\n"
            "The store has changed since the rehearsal:\n  + XFilter\\New\n");
  EXPECT_EQ(work_.sh(held + "--verify plan").exit_status, 3);
  EXPECT_EQ(work_.sh(held + "--verify other").exit_status, 1);
  EXPECT_EQ(work_.sh(held + "--valid plan other --from /nowhere").exit_status, 1);
  for (char const* const line : {"--valid '' pkg", "--verify plan --mask x", "--save '' pkg"}) {
    EXPECT_EQ(work_.sh(held + line).exit_status, 2) << line;
  }

  zeva::Plan plan;
  ASSERT_EQ(zeva::read_plan(work_ / "plan", plan), std::nullopt);
  plan.after = zeva::load_store(home_.config("")).root;
  plan.after_sha256 = zeva::store_digest(*plan.after);
  zeva::Secrets(plan.masked).mask(*plan.after, plan.salt);
  work_.write("plan", zeva::write_plan(plan, "{}\n"));
  done = work_.sh(held + "--verify plan");
  EXPECT_EQ(done.exit_status, 0) << done.output;
  client_->create("XFilter\\Newer");
  EXPECT_EQ(work_.sh(held + "--verify plan").output,
            "The store is not what was planned:\n  + XFilter\\Newer\n");
  before_ = traces();
}

// Where no plan can be kept, nothing is.
TEST_F(Rehearse, APlanIsKeptWholeOrNotAtAll) {
  pack("pkg");
  for (std::string const file : {"tmp", "link", "gone/plan", "pkg"}) {
    work_.sh("ln -sf pkg link");
    auto const done = rehearse(" --save " + file);
    EXPECT_EQ(done.exit_status, 1) << file;
    EXPECT_THAT(done.error, StartsWith("zeva-rehearse: " + file + ": ")) << file;
    EXPECT_EQ(done.output, "") << file;
  }
  EXPECT_EQ(rehearse(" --save plan --html ./plan").error,
            "zeva-rehearse: ./plan: cannot be two of the package, the plan and the page\n");
  from_ = work_ / "empty";  // has no store, and the installation no factory's
  fs::create_directories(from_ + "/config");
  auto const done = rehearse(" --save plan");
  EXPECT_EQ(done.exit_status, 249);
  EXPECT_THAT(done.error, HasSubstr("the plan is not kept: the run has failed\n"));
  EXPECT_EQ(work_.sh("ls").output, "empty\nexport\nlink\npkg\ntmp\n");
}

// Here the shell that has started it ends first.
TEST_F(Rehearse, OutlivesItsStarter) {
  work_.write("line", command() + " --save plan");
  EXPECT_THAT(work_
                  .sh("mkfifo fifo; sh -c 'setsid nohup sh line >fifo 2>&1 & exec sleep 1' & "
                      "cat fifo")
                  .output,
              HasSubstr("  0: the run came to its end;"));
  EXPECT_THAT(work_.sh(*installed / "home/bin/zeva-rehearse --valid plan").error,
              HasSubstr("export: is a folder that was packed for the rehearsal: name the package"));
}

TEST_F(Rehearse, WhateverEndsItNothingRemains) {
  for (std::string const signal : {"INT", "TERM", "HUP", "KILL"}) {
    // Ended as soon as the run in it has begun to import; its processes must go with it.
    auto const done =
        work_.sh("rm -f fifo; mkfifo fifo; echo old > page; " + command() +
                 " --html page 2> fifo & while read -r line; do case $line in Backup*) kill -" +
                 signal + " $!;; End*) echo $line; esac; done < fifo; wait $!");
    EXPECT_GT(done.exit_status, 128) << signal;
    EXPECT_EQ(done.output, "") << signal << ": the run went on";
    EXPECT_EQ(traces(), before_) << signal;
    // Killed outright, it cannot take back the page that it has begun.
    EXPECT_EQ(work_.sh("cat page; [ " + signal + " = KILL ] || ls | grep ^page.; rm page*").output,
              "old\n")
        << signal;
    EXPECT_EQ(work_.sh("exec pgrep -f " + package_).output, "") << signal;
  }
}

}  // namespace
