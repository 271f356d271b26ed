#include "server.h"

#include "cookie.h"
#include "report.h"
#include "settings.h"

#include <signal.h>
#include <string.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace zeva {

namespace {

using asio::ip::tcp;
using std::chrono::steady_clock;

// Who has not proved himself yet: how long he may take, and how many strangers may be among them.
// One more makes the oldest stranger lose his connection, so that users who may not read the cookie
// take turns among themselves and never the turn of one who may.
constexpr std::chrono::seconds kGreetingTime{10};
constexpr ptrdiff_t kMaxStrangers = 64;

// How long to wait when no connection can be accepted (no descriptor left).
constexpr std::chrono::milliseconds kAcceptPause{200};

}  // namespace

bool Server::start(std::string const& home, std::string& why) {
  std::string const config = home + "/config";
  Settings settings;
  if (!read_settings(home, settings, why)) return false;
  port_ = settings.port;
  return bind(why) && open_store(config, why) && listen(config, why);
}

bool Server::bind(std::string& why) {
  tcp::acceptor& acceptor = loopback_.acceptor;
  asio::error_code error;
  acceptor.open(tcp::v4(), error);
  if (!error) acceptor.set_option(tcp::acceptor::reuse_address(true), error);
  if (!error) acceptor.bind({asio::ip::address_v4::loopback(), port_}, error);
  if (error) why = "127.0.0.1 port " + std::to_string(port_) + ": " + error.message();
  return !error;
}

bool Server::open_store(std::string const& config, std::string& why) {
  std::vector<std::string> notes;
  store_ = Store::open(config, notes, why);
  for (std::string const& note : notes) report(note);
  return store_ != nullptr;
}

// The cookie is there before the first client can be, the number of the process after that: who
// knows it may end the server, which must be ready to take its pid file away again.
bool Server::listen(std::string const& config, std::string& why) {
  cookie_ = make_cookie(config + kCookieFile, why);
  if (cookie_.empty()) return false;
  asio::error_code error;
  loopback_.acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    why = "cannot listen on the port: " + error.message();
    return false;
  }
  error = home_socket_.listen(config + kHomeSocket, local_.acceptor);
  if (error) report(config + kHomeSocket + ": " + error.message() + "; clients come by the port");
  signals_.add(SIGTERM);
  signals_.add(SIGINT);
  int written = pid_file_.write(config + "/regserver.pid");
  if (written != 0) why = config + "/regserver.pid: " + strerror(written);
  return written == 0;
}

void Server::run() {
  signals_.async_wait([this](asio::error_code, int) { io_.stop(); });
  accept(loopback_);
  if (local_.acceptor.is_open()) accept(local_);
  io_.run();
}

template <class Protocol>
void Server::accept(Entrance<Protocol>& entrance) {
  entrance.acceptor.async_accept([&](asio::error_code error, typename Protocol::socket socket) {
    if (!error) {
      admit(std::move(socket));
      accept(entrance);
      return;
    }
    entrance.pause.expires_after(kAcceptPause);
    entrance.pause.async_wait([&](asio::error_code) { accept(entrance); });
  });
}

void Server::admit(tcp::socket socket) {
  asio::error_code ignored;  // an answer that waits for its segment to fill is only slow
  socket.set_option(tcp::no_delay(true), ignored);
  bool const stranger = !peers_.is_one_of_us(socket);
  add_newcomer(std::move(socket), stranger);
}

// Nobody else may open the socket in the home.
void Server::admit(asio::local::stream_protocol::socket socket) {
  add_newcomer(std::move(socket), false);
}

void Server::add_newcomer(Session::Socket socket, bool stranger) {
  drop_late_newcomers();
  if (stranger) make_room_for_stranger();
  auto session = std::make_shared<Session>(std::move(socket), port_, *store_, cookie_,
                                           [this](Session* greeted) {
                                             newcomers_.remove_if([&](Newcomer const& newcomer) {
                                               auto waiting = newcomer.session.lock();
                                               return !waiting || waiting.get() == greeted;
                                             });
                                           });
  newcomers_.push_back({session, steady_clock::now() + kGreetingTime, stranger});
  session->start();
}

// Runs when somebody else comes: until then the few who wait hold next to nothing.
void Server::drop_late_newcomers() {
  auto const now = steady_clock::now();
  newcomers_.remove_if([&](Newcomer const& newcomer) {
    auto session = newcomer.session.lock();
    if (session && newcomer.deadline > now) return false;
    if (session) session->close();
    return true;
  });
}

void Server::make_room_for_stranger() {
  auto const is_stranger = [](Newcomer const& newcomer) { return newcomer.stranger; };
  if (std::count_if(newcomers_.begin(), newcomers_.end(), is_stranger) < kMaxStrangers) return;
  auto const oldest = std::find_if(newcomers_.begin(), newcomers_.end(), is_stranger);
  if (auto session = oldest->session.lock()) session->close();
  newcomers_.erase(oldest);
}

}  // namespace zeva
