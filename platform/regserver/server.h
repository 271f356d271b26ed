// The registry server of one home: opens the store, takes connections on the loopback address and
// at a socket in the home, and serves them from one thread until a signal ends it. On its end it
// writes nothing to the store.
#pragma once

#include "homesocket.h"
#include "peer.h"
#include "pidfile.h"
#include "session.h"
#include "store.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>

#include <list>
#include <memory>
#include <string>

namespace zeva {

class Server {
 public:
  // Ready to serve when it returns true; `why` says the reason when not.
  [[nodiscard]] bool start(std::string const& home, std::string& why);

  // Until SIGTERM or SIGINT.
  void run();

 private:
  // Where clients come in.
  template <class Protocol>
  struct Entrance {
    explicit Entrance(asio::io_context& io) : acceptor(io), pause(io) {}
    typename Protocol::acceptor acceptor;
    asio::steady_timer pause;
  };

  struct Newcomer {
    std::weak_ptr<Session> session;
    std::chrono::steady_clock::time_point deadline;  // to prove itself
    bool stranger;
  };

  [[nodiscard]] bool bind(std::string& why);
  [[nodiscard]] bool open_store(std::string const& config, std::string& why);
  [[nodiscard]] bool listen(std::string const& config, std::string& why);
  template <class Protocol>
  void accept(Entrance<Protocol>& entrance);
  void admit(asio::ip::tcp::socket socket);
  void admit(asio::local::stream_protocol::socket socket);
  void add_newcomer(Session::Socket socket, bool stranger);
  void drop_late_newcomers();
  void make_room_for_stranger();

  asio::io_context io_;
  uint16_t port_ = 0;
  Entrance<asio::ip::tcp> loopback_{io_};
  Entrance<asio::local::stream_protocol> local_{io_};
  asio::signal_set signals_{io_};
  Peers peers_;
  std::unique_ptr<Store> store_;
  HomeSocket home_socket_;  // after the store, whose lock says that there is no other server's
  PidFile pid_file_;
  std::string cookie_;
  std::list<Newcomer> newcomers_;  // the oldest first
};

}  // namespace zeva
