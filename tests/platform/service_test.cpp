// The service script, as the migration and an administrator run it.
#include "registry_client.h"
#include "scratch_home.h"

#include <gmock/gmock.h>

#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <utility>

namespace {

namespace fs = std::filesystem;

class Service : public testing::Test {
 protected:
  ~Service() override { run("stop"); }

  // The script's exit status. Its output is a pipe that must end with it, whatever it has started.
  int run(std::string const& action) {
    FILE* script = popen((script_ + " " + action + " 2>&1").c_str(), "r");
    char buffer[1024];
    output_.clear();
    while (fgets(buffer, sizeof buffer, script)) output_ += buffer;
    return WEXITSTATUS(pclose(script));
  }

  std::string pid() const { return read_text(home_.config("regserver.pid")); }

  ScratchHome home_;
  std::string script_ = "timeout 30 \"$ZEVA_HOME/bin/migration/S99Reg\"";
  std::string output_;
};

TEST_F(Service, StartsStopsAndTellsAnyNumberOfTimes) {
  EXPECT_EQ(run("status"), 3);
  EXPECT_EQ(output_, "regserver is not running\n");
  EXPECT_EQ(run("stop"), 0);
  std::string first;
  std::string const program = home_.path() + "/bin/regserver";
  fs::copy(fs::read_symlink(program), program + ".new");
  fs::rename(program + ".new", program);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(run("start 9</dev/null"), 0) << output_;
    EXPECT_EQ(output_, "");
    RegistryClient client(home_.address());
    if (i == 0) first = pid();
    EXPECT_EQ(pid(), first) << "started once";
  }
  first.pop_back();
  std::error_code none;
  EXPECT_NE(fs::read_symlink("/proc/" + first + "/fd/9", none), "/dev/null") << "its starter's";
  EXPECT_EQ(getsid(atoi(first.c_str())), atoi(first.c_str())) << "no terminal ends it";
  fs::copy(program, program + ".new");  // an update
  fs::rename(program + ".new", program);
  kill(atoi(first.c_str()), SIGHUP);
  EXPECT_EQ(run("status"), 0);
  EXPECT_EQ(output_, "regserver is running (process " + first + ")\n");
  EXPECT_EQ(system(("ps -f -p " + first + " | grep -q regserver").c_str()), 0);

  // Where it listens now is no longer in the settings.
  fs::remove(home_.path() + "/bin/migration/RegSvrCfg.ini");
  EXPECT_EQ(run("stop"), 0);
  EXPECT_FALSE(fs::exists("/proc/" + first + "/exe")) << "gone when the script is back";
  EXPECT_FALSE(fs::exists(home_.config("regserver.pid")));
  EXPECT_EQ(run("status"), 3);
  EXPECT_EQ(run("reload"), 2);
  EXPECT_EQ(WEXITSTATUS(system((program + " --foreground 2>/dev/null").c_str())), 2);
}

TEST_F(Service, AStalePidFileDoesNotMatter) {
  ScratchHome other;
  other.start();
  RegistryClient others_client(other.address());
  setenv("ZEVA_HOME", home_.path().c_str(), 1);
  pid_t const ended = fork();
  if (ended == 0) _exit(prctl(PR_SET_NAME, "regserver"));
  siginfo_t about;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(ended), &about, WEXITED | WNOWAIT), 0);
  // A number that nobody has, one of somebody else, of another home's server, of one that has ended
  // and that nobody has waited for, no number at all.
  for (std::string const& stale :
       {std::string("4194999\n"), std::to_string(getpid()) + "\n",
        read_text(other.config("regserver.pid")), std::to_string(ended) + "\n", std::string("-1\n"),
        std::string("1; exit 0\n"), std::string()}) {
    std::ofstream(home_.config("regserver.pid")) << stale;
    EXPECT_EQ(run("status"), 3) << stale;
    EXPECT_EQ(run("stop"), 0) << stale;
    EXPECT_EQ(run("start"), 0) << stale << output_;
    kill(atoi(pid().c_str()), SIGKILL);
    int status;
    while ((status = run("status")) == 0) usleep(1000);
    EXPECT_EQ(status, 3) << output_;
    EXPECT_EQ(run("start"), 0) << "while the killed one is ending\n" << output_;
    EXPECT_EQ(run("stop"), 0);
  }
  waitpid(ended, nullptr, 0);
  EXPECT_EQ(others_client.create("still there"), NVREG_OK);
  // The file of a server that has taken its place.
  write_text(other.config("regserver.pid"), "1\n");
  other.stop();
  EXPECT_EQ(read_text(other.config("regserver.pid")), "1\n");
}

TEST_F(Service, StartSaysWhyNot) {
  auto set_settings = [&](std::string const& lines) {
    write_text(home_.path() + "/bin/migration/RegSvrCfg.ini", "[CFILTER_REGSERVER]\n" + lines);
  };
  std::string const port = "CFILTER_REGSERVER_PORT=" + std::to_string(home_.port()) + "\n";
  ASSERT_EQ(system("cd \"$ZEVA_HOME/bin/migration\"; ln -sf loop RegSvrCfg.ini; ln -s loop loop"),
            0);
  EXPECT_EQ(run("start"), 1) << "what cannot be read is not the default";
  fs::remove(home_.path() + "/bin/migration/RegSvrCfg.ini");
  struct {
    std::string settings, says;
  } const cases[] = {
      {"CFILTER_REGSERVER_PORT=http\n", "CFILTER_REGSERVER_PORT is http"},
      {port + "CFILTER_REGSERVER_ADDRESS=0.0.0.0\n", "only 127.0.0.1"},
  };
  for (auto& [settings, says] : cases) {
    set_settings(settings);
    EXPECT_EQ(run("start"), 1);
    EXPECT_NE(output_.find(says), std::string::npos) << output_;
  }
  set_settings(port + "CFILTER_REGSERVER_ADDRESS=127.0.0.1\n");
  ASSERT_EQ(run("start"), 0) << output_;
  std::string const running = pid();
  fs::remove(home_.config("regserver.pid"));
  zeva::Descriptor const other(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  set_settings("CFILTER_REGSERVER_PORT=" + std::to_string(bind_to_loopback(other.get())) + "\n");
  EXPECT_EQ(run("start"), 1) << "one server for a store";
  EXPECT_NE(output_.find("another server has it open"), std::string::npos) << output_;
  std::ofstream(home_.config("regserver.pid")) << running;
  EXPECT_EQ(run("stop"), 0);

  set_settings(port);
  std::ofstream(home_.config("cFlt_db.xml")) << "<";
  std::ofstream(home_.config("cFlt_db.xml.bak")) << "<";
  EXPECT_EQ(run("start"), 1);
  EXPECT_EQ(output_.find("regserver: the store cannot be read"), 0u) << output_;
  EXPECT_THAT(home_.reports(),
              testing::ContainsRegex("\n\\[[0-9/]+ [0-9:]+\\] [^\n]*the store cannot be read"));
  EXPECT_EQ(fs::status(home_.config("registry.log")).permissions(), fs::perms(0600));
}

TEST_F(Service, AHomeOfAnyName) {
  std::string const odd = home_.path() + "/it's a \"home\" $(touch x) `y` \\ * ü";
  fs::create_directory(odd);
  for (char const* part : {"bin", "config", "lib"})
    fs::rename(home_.path() + "/" + part, odd + "/" + part);
  setenv("ZEVA_HOME", odd.c_str(), 1);
  EXPECT_EQ(run("start"), 0) << output_;
  EXPECT_EQ(run("status"), 0);
  EXPECT_TRUE(fs::exists(odd + "/config/regserver.pid"));
  EXPECT_EQ(run("stop"), 0);
  EXPECT_EQ(run("status"), 3);

  // An empty home is a home, too: not the standard one.
  setenv("ZEVA_HOME", "", 1);
  script_ = "'" + home_.path() + "/S99Reg'";
  fs::copy(odd + "/bin/migration/S99Reg", home_.path() + "/S99Reg");
  EXPECT_EQ(run("start"), 127) << "/bin/regserver";
}

// At the very moment that its pid file is there.
TEST_F(Service, CanBeEndedAsSoonAsItIsFound) {
  pid_t const server = fork();
  if (server == 0) {
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(126);
    execl((home_.path() + "/bin/regserver").c_str(), "regserver", nullptr);
    _exit(127);
  }
  int status;
  while (waitpid(server, &status, 0) == server && WIFSTOPPED(status) && pid().empty())
    ptrace(PTRACE_SYSCALL, server, nullptr, nullptr);
  ASSERT_TRUE(WIFSTOPPED(status)) << "not traced; it ended with " << WEXITSTATUS(status);
  kill(server, SIGTERM);
  ptrace(PTRACE_DETACH, server, nullptr, nullptr);
  EXPECT_EQ(waitpid(server, &status, 0), server);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(pid(), "");
}

TEST_F(Service, AnotherUserIsNotToldWhatHeCannotKnow) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ASSERT_EQ(run("start"), 0) << output_;
  fs::permissions(home_.path(), fs::perms(0755));
  std::string const own = std::exchange(
      script_, "setpriv --reuid=65534 --clear-groups sh -s <\"$ZEVA_HOME/bin/migration/S99Reg\"");
  EXPECT_EQ(run("status"), 4) << output_;
  script_ = own;
}

// A server that does not hear is ended all the same, and its pid file's end is not taken for its
// own.
TEST_F(Service, AStoppedServerIsEnded) {
  // Whatever its starter has open, or has not.
  std::string const start = "\"$ZEVA_HOME/bin/regserver\" --background ";
  ASSERT_EQ(system((start + "<&- >&-").c_str()), 0);
  RegistryClient const client(home_.address());  // whose connection the server ends
  EXPECT_EQ(run("stop"), 0);
  ASSERT_EQ(system((start + "</etc/passwd").c_str()), 0);
  int const server = atoi(pid().c_str());
  EXPECT_EQ(fs::read_symlink("/proc/" + std::to_string(server) + "/fd/0"), "/dev/null");
  kill(server, SIGSTOP);
  std::string const sleep = home_.path() + "/sleep";
  std::ofstream(sleep) << "#!/bin/sh\nrm -f config/regserver.pid\nexec /bin/sleep \"$@\"\n";
  fs::permissions(sleep, fs::perms::owner_all);
  script_ = "cd \"$ZEVA_HOME\" && PATH=\"$PWD:$PATH\" " + script_;
  EXPECT_EQ(run("stop"), 0);
  EXPECT_FALSE(fs::exists("/proc/" + std::to_string(server) + "/exe"));
  EXPECT_EQ(run("status"), 3);
}

}  // namespace
