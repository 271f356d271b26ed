// One client's connection: both prove that they know the cookie, then one call after the other.
//
// A client that breaks a rule loses its connection and nothing else happens. Until it has proved
// itself it can make the server hold no more than this object and a small frame.
#pragma once

#include "frame.h"
#include "polling.h"
#include "store.h"

#include <asio/buffer.hpp>
#include <asio/generic/stream_protocol.hpp>

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace zeva {

class Session : public std::enable_shared_from_this<Session> {
 public:
  using Socket = asio::generic::stream_protocol::socket;

  // `port` is the server's, whichever way the client came; `store` and `cookie` outlive the
  // session; `on_greeted` is called once the client has proved itself.
  Session(Socket socket, uint16_t port, Store& store, std::string const& cookie,
          std::function<void(Session*)> on_greeted);

  // Serves until the client or close() ends it; the session keeps itself alive meanwhile.
  void start();

  void close();

 private:
  enum class Stage { kGreeting, kProof, kCalls };  // what the next message is
  enum class Input { kMessage, kNothing, kLost };

  void serve();
  void wait();
  [[nodiscard]] Input receive();
  void take(size_t got);
  [[nodiscard]] asio::mutable_buffer room();
  [[nodiscard]] Input has_message() const;
  [[nodiscard]] std::string_view unanswered() const;
  [[nodiscard]] bool answer_message();
  [[nodiscard]] bool on_greeting(std::string_view message);
  [[nodiscard]] bool on_proof(std::string_view message);
  [[nodiscard]] bool on_call(std::string_view message);
  [[nodiscard]] bool refuse();
  [[nodiscard]] bool send();

  Socket socket_;
  uint16_t const port_;
  Store& store_;
  std::string const& cookie_;
  std::function<void(Session*)> on_greeted_;
  Stage stage_ = Stage::kGreeting;
  bool refused_ = false;
  Polling polling_;
  char piece_[16 * 1024];  // of what arrives
  std::string expected_proof_;
  std::string input_;    // frames that have arrived, and what has of another one
  size_t answered_ = 0;  // bytes of it
  std::string frame_;    // being sent
};

}  // namespace zeva
