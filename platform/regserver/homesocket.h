// config/regserver.socket below the home: where clients of the server's own user and root come in,
// in three quarters of the time that the loopback address takes.
#pragma once

#include <asio/local/stream_protocol.hpp>

#include <sys/types.h>

#include <string>

namespace zeva {

class HomeSocket {
 public:
  HomeSocket() = default;
  // Removes the socket, if it is still ours.
  ~HomeSocket();
  HomeSocket(HomeSocket const&) = delete;
  HomeSocket& operator=(HomeSocket const&) = delete;

  // Makes it, of mode 0600 and in place of one that is left from before, and listens there. On
  // failure the acceptor is closed: the path may be too long, or the disk know no sockets.
  [[nodiscard]] asio::error_code listen(std::string const& path,
                                        asio::local::stream_protocol::acceptor& acceptor);

 private:
  std::string path_;
  ino_t inode_ = 0;
};

}  // namespace zeva
