// What a value costs where nothing is looked at and nothing understood: a blocking exchange of 150
// and 16 bytes, over TCP or a Unix socket, whose server appends 170 bytes to a file.
#pragma once

#include "scratch.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>

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

inline int connect_to(std::string const& path) {
  int const socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return socket;
  close(socket);
  return -1;
}

enum class Transport { kTcp, kUnix };

class PingPong {
 public:
  // Its file is in a folder below that one: on the disk of the store that it is compared with.
  explicit PingPong(Transport transport, std::string const& below = "/tmp")
      : folder_(below), ends_(transport), server_([this] { serve(); }) {
    close(std::exchange(ends_.server, -1));
  }
  PingPong(PingPong const&) = delete;
  PingPong& operator=(PingPong const&) = delete;

  void exchange(int times) {
    char bytes[150] = {};
    for (int i = 0; i < times; ++i) {
      if (send(ends_.client, bytes, sizeof bytes, 0) != sizeof bytes) fail("send");
      if (recv(ends_.client, bytes, 16, MSG_WAITALL) != 16) fail("recv");
    }
  }

 private:
  // Of one connection.
  struct Ends {
    explicit Ends(Transport transport) {
      if (transport == Transport::kUnix) {
        int both[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, both) != 0) fail("socketpair");
        client = both[0];
        server = both[1];
        return;
      }
      uint16_t port;
      int const listener = listen_on_loopback(port);
      client = connect_to(port);
      server = accept(listener, nullptr, nullptr);
      if (client < 0 || server < 0) fail("connect");
      send_at_once(server);
      close(listener);
    }
    ~Ends() {
      close(client);
      close(server);
    }
    Ends(Ends const&) = delete;
    Ends& operator=(Ends const&) = delete;

    int client;
    int server;
  };

  void serve() {
    close(ends_.client);
    int const file = open((folder_ / "log").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    char bytes[170] = {};
    while (recv(ends_.server, bytes, 150, MSG_WAITALL) == 150) {
      if (write(file, bytes, sizeof bytes) != sizeof bytes) fail("write");
      if (send(ends_.server, bytes, 16, 0) != 16) fail("send");
    }
  }

  Folder const folder_;
  Ends ends_;
  Child server_;
};

}  // namespace zeva
