// One client's connection: a greeting, then one call after the other.
//
// A client that breaks a rule loses its connection and nothing else happens. Until it has shown the
// cookie it can make the server hold no more than a small greeting.
#pragma once

#include <array>
#include <asio/ip/tcp.hpp>
#include <functional>
#include <memory>
#include <string>

#include "frame.h"
#include "store.h"

namespace zeva {

class Session : public std::enable_shared_from_this<Session> {
 public:
  // store and cookie outlive the session; on_greeted is called once the cookie was right.
  Session(asio::ip::tcp::socket socket, Store& store, std::string const& cookie,
          std::function<void(Session*)> on_greeted);

  // Serves until the client or close() ends it; the session keeps itself alive meanwhile.
  void start();

  void close();

 private:
  void read_frame();
  void read_message(size_t length);
  void on_message();
  void send(wire::Answer const& answer, bool go_on);
  [[nodiscard]] bool greet(wire::Answer& answer);

  asio::ip::tcp::socket socket_;
  Store& store_;
  std::string const& cookie_;
  std::function<void(Session*)> on_greeted_;
  bool greeted_ = false;
  std::array<char, kFrameHeader> header_;
  std::string message_;  // being read
  std::string frame_;    // being sent
};

}  // namespace zeva
