// A gateway's home for one test: a folder under /tmp laid out like an installed home, with a free
// port in its RegSvrCfg.ini, and the built registry server over it. Other homes and servers are
// never met, so tests run side by side.
//
//   ScratchHome home;
//   home.start();
//   NvPoRegistry registry(home.address());
#pragma once

#include "descriptor.h"
#include "scratch_folder.h"

#include <sys/socket.h>
#include <sys/types.h>

#include <string>

// Binds a socket to a free port of the loopback address, and returns its number. Until the socket
// is closed nobody gets the port but who asks for it by number, as a server does.
int bind_to_loopback(int socket);

class ScratchHome {
 public:
  // Makes the home and points this process's ZEVA_HOME to it; no server runs yet. Throws
  // std::runtime_error when the machine does not let it.
  ScratchHome();

  // Ends the server and removes the folder.
  ~ScratchHome();
  ScratchHome(ScratchHome const&) = delete;
  ScratchHome& operator=(ScratchHome const&) = delete;

  // Starts the server and waits until it answers. Throws what it reported when it ends instead.
  void start();

  // The same for a start that may fail: false when the server ended.
  [[nodiscard]] bool try_start();

  // Ends the server by SIGTERM or SIGKILL and waits until it is gone; nothing when none runs.
  // stop() throws when the server did not end well.
  void stop();
  void kill();

  [[nodiscard]] std::string const& path() const { return folder_.path(); }
  // The path of a file in the home's folder config.
  [[nodiscard]] std::string config(std::string const& name) const {
    return folder_ / ("config/" + name);
  }
  [[nodiscard]] int port() const { return port_; }
  // What nvreg_open and the importers take.
  [[nodiscard]] std::string address() const { return "ZEVA:" + std::to_string(port_); }
  // What the servers of this home have reported, as text.
  [[nodiscard]] std::string reports() const;

 private:
  [[nodiscard]] bool wait_until_ready();
  int end(int signal);

  ScratchFolder folder_;
  zeva::Descriptor socket_{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};  // holds the port
  int port_ = bind_to_loopback(socket_.get());
  pid_t server_ = 0;
};
