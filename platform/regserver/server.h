// The registry server of one home: opens the store, takes connections on the loopback address, and
// serves them from one thread until a signal ends it. On its end it writes nothing to the store.
#pragma once

#include "peer.h"
#include "pidfile.h"
#include "session.h"
#include "store.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
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
  struct Newcomer {
    std::weak_ptr<Session> session;
    std::chrono::steady_clock::time_point deadline;  // to prove itself
    bool stranger;
  };

  [[nodiscard]] bool bind(uint16_t port, std::string& why);
  [[nodiscard]] bool open_store(std::string const& config, std::string& why);
  [[nodiscard]] bool listen(std::string const& config, std::string& why);
  void accept();
  void add_newcomer(asio::ip::tcp::socket socket);
  void drop_late_newcomers();
  void make_room_for_stranger();

  asio::io_context io_;
  asio::ip::tcp::acceptor acceptor_{io_};
  asio::signal_set signals_{io_};
  asio::steady_timer timer_{io_};
  Peers peers_;
  PidFile pid_file_;
  std::unique_ptr<Store> store_;
  std::string cookie_;
  std::list<Newcomer> newcomers_;  // the oldest first
};

}  // namespace zeva
