#include "scratch_home.h"

#include <errno.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

std::string read_text(std::string const& path) {
  std::stringstream text;
  text << std::ifstream(path).rdbuf();
  return text.str();
}

int free_port() {
  int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* any = reinterpret_cast<sockaddr*>(&address);
  bool bound = bind(socket, any, size) == 0 && getsockname(socket, any, &size) == 0;
  close(socket);
  if (!bound) throw std::runtime_error("no free port on the loopback address");
  return ntohs(address.sin_port);
}

}  // namespace

ScratchHome::ScratchHome() {
  char folder[] = "/tmp/zeva-home-XXXXXX";
  if (!mkdtemp(folder)) throw std::runtime_error("no scratch home under /tmp");
  path_ = folder;
  for (char const* below : {"bin/migration", "config", "lib", "xhtml/en/download"})
    fs::create_directories(path_ + "/" + below);
  fs::create_symlink(REGSERVER_PROGRAM, path_ + "/bin/regserver");
  fs::create_symlink(SERVICE_FOLDER "/S99Reg", path_ + "/bin/migration/S99Reg");
  fs::copy(SERVICE_FOLDER "/factory.xml", config("factory.xml"));
  if (fs::exists(CATALOGUE_FOLDER)) fs::create_symlink(CATALOGUE_FOLDER, config("zevautilerr"));
  setenv("ZEVA_HOME", path_.c_str(), 1);
  take_port();
}

ScratchHome::~ScratchHome() {
  kill();
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void ScratchHome::take_port() {
  port_ = free_port();
  std::ofstream(path_ + "/bin/migration/RegSvrCfg.ini")
      << "[CFILTER_REGSERVER]\nCFILTER_REGSERVER_PORT=" << port_ << "\n";
}

void ScratchHome::start() {
  // Somebody else may have taken the port since it was found free.
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (try_start()) return;
    if (reports().find("Address already in use") == std::string::npos) break;
    take_port();
  }
  throw std::runtime_error("regserver does not start: " + reports());
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
    setenv("ZEVA_HOME", path_.c_str(), 1);
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
