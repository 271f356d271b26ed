// What a value costs where nothing is looked at and nothing understood: a blocking TCP exchange of
// 150 and 16 bytes whose server appends 170 bytes to a file.
#pragma once

#include "scratch.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>

namespace zeva {

inline int listen_on_loopback(uint16_t& port) {
  int const socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (bind(socket, any, size) != 0 || listen(socket, 1) != 0 ||
      getsockname(socket, any, &size) != 0)
    fail("no port on the loopback address");
  port = ntohs(address.sin_port);
  return socket;
}

inline void send_at_once(int socket) {
  int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

// -1 when nobody listens there.
inline int connect_to(uint16_t port) {
  int const socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(socket);
    return -1;
  }
  send_at_once(socket);
  return socket;
}

class PingPong {
 public:
  // Its file is in a folder below that one: on the disk of the store that it is compared with.
  explicit PingPong(std::string const& below = "/tmp")
      : folder_(below), listener_(listen_on_loopback(port_)), server_([this] { serve(); }) {
    socket_ = connect_to(port_);
    if (socket_ < 0) fail("connect");
  }
  ~PingPong() {
    close(socket_);
    close(listener_);
  }
  PingPong(PingPong const&) = delete;
  PingPong& operator=(PingPong const&) = delete;

  void exchange(int times) {
    char bytes[150] = {};
    for (int i = 0; i < times; ++i) {
      if (send(socket_, bytes, sizeof bytes, 0) != sizeof bytes) fail("send");
      if (recv(socket_, bytes, 16, MSG_WAITALL) != 16) fail("recv");
    }
  }

 private:
  void serve() {
    int const file = open((folder_ / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    int const socket = accept(listener_, nullptr, nullptr);
    send_at_once(socket);
    char bytes[170] = {};
    while (recv(socket, bytes, 150, MSG_WAITALL) == 150) {
      if (write(file, bytes, sizeof bytes) != sizeof bytes) fail("write");
      if (send(socket, bytes, 16, 0) != 16) fail("send");
    }
  }

  Folder const folder_;
  uint16_t port_ = 0;
  int listener_;
  Child server_;
  int socket_ = -1;
};

}  // namespace zeva
