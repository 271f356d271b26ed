#include "scratch_home.h"

#include <errno.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

int bind_to_loopback(int socket) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  int const on = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (bind(socket, any, size) < 0 || getsockname(socket, any, &size) < 0)
    throw std::runtime_error("no free port on the loopback address");
  return ntohs(address.sin_port);
}

ScratchHome::ScratchHome() {
  for (char const* below : {"bin/migration", "config", "lib", "xhtml/en/download"})
    fs::create_directories(folder_ / below);
  fs::create_symlink(REGSERVER_PROGRAM, folder_ / "bin/regserver");
  fs::create_symlink(SERVICE_FOLDER "/S99Reg", folder_ / "bin/migration/S99Reg");
  fs::copy(SERVICE_FOLDER "/factory.xml", config("factory.xml"));
  if (fs::exists(CATALOGUE_FOLDER)) fs::create_symlink(CATALOGUE_FOLDER, config("zevautilerr"));
  setenv("ZEVA_HOME", path().c_str(), 1);
  folder_.write("bin/migration/RegSvrCfg.ini",
                "[CFILTER_REGSERVER]\nCFILTER_REGSERVER_PORT=" + std::to_string(port_) + "\n");
}

ScratchHome::~ScratchHome() {
  kill();
}

void ScratchHome::start() {
  if (!try_start()) throw std::runtime_error("regserver does not start: " + reports());
}

bool ScratchHome::try_start() {
  kill();
  fs::remove(config("regserver.pid"));
  pid_t parent = getpid();
  server_ = fork();
  if (server_ < 0) throw std::runtime_error("cannot fork");
  if (server_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1);
    setenv("ZEVA_HOME", path().c_str(), 1);
    execl(REGSERVER_PROGRAM, "regserver", nullptr);
    _exit(127);
  }
  return wait_until_ready();
}

bool ScratchHome::wait_until_ready() {
  std::string const ready = std::to_string(server_) + "\n";
  while (read_text(config("regserver.pid")) != ready) {
    if (waitpid(server_, nullptr, WNOHANG) == server_) {
      server_ = 0;
      return false;
    }
    usleep(2000);
  }
  return true;
}

int ScratchHome::end(int signal) {
  int status = 0;
  if (server_ == 0) return status;
  ::kill(server_, signal);
  while (waitpid(server_, &status, 0) < 0 && errno == EINTR) continue;
  server_ = 0;
  return status;
}

void ScratchHome::stop() {
  int const status = end(SIGTERM);
  if (status != 0)
    throw std::runtime_error("regserver ended with status " + std::to_string(status));
}

void ScratchHome::kill() {
  end(SIGKILL);
}

std::string ScratchHome::reports() const {
  return read_text(config("registry.log"));
}
