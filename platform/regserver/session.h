// One client's connection: both prove that they know the cookie, then one call after the other.
//
// A client that breaks a rule loses its connection and nothing else happens. Until it has proved
// itself it can make the server hold no more than a small frame.
#pragma once

#include "frame.h"
#include "store.h"

#include <asio/ip/tcp.hpp>

#include <array>
#include <functional>
#include <memory>
#include <string>

namespace zeva {

class Session : public std::enable_shared_from_this<Session> {
 public:
  // `store` and `cookie` outlive the session; `on_greeted` is called once the client has
  // proved itself.
  Session(asio::ip::tcp::socket socket, Store& store, std::string const& cookie,
          std::function<void(Session*)> on_greeted);

  // Serves until the client or close() ends it; the session keeps itself alive meanwhile.
  void start();

  void close();

 private:
  enum class Stage { kGreeting, kProof, kCalls };  // what the next message is

  void read_frame();
  void read_message(size_t length);
  void on_message();
  void on_greeting();
  void on_proof();
  void on_call();
  void refuse();
  template <class Message>
  void send(Message const& message, bool go_on);

  asio::ip::tcp::socket socket_;
  Store& store_;
  std::string const& cookie_;
  std::function<void(Session*)> on_greeted_;
  Stage stage_ = Stage::kGreeting;
  std::string expected_proof_;
  std::array<char, kFrameHeader> header_;
  std::string message_;  // being read
  std::string frame_;    // being sent
};

}  // namespace zeva
