#include "session.h"

#include <asio/buffer.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <utility>

#include "answer.h"
#include "cookie.h"
#include "nvreg.h"

namespace zeva {

Session::Session(asio::ip::tcp::socket socket, Store& store, std::string const& cookie,
                 std::function<void(Session*)> on_greeted)
    : socket_(std::move(socket)),
      store_(store),
      cookie_(cookie),
      on_greeted_(std::move(on_greeted)) {}

void Session::start() {
  asio::error_code ignored;  // an answer that waits for its segment to fill is only slow
  socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
  read_frame();
}

void Session::close() {
  asio::error_code ignored;
  socket_.close(ignored);
}

void Session::read_frame() {
  asio::async_read(socket_, asio::buffer(header_),
                   [self = shared_from_this()](asio::error_code error, size_t) {
                     if (!error) self->read_message(get_number32(self->header_.data()));
                   });
}

void Session::read_message(size_t length) {
  if (length > (greeted_ ? kMaxFrame : kMaxGreeting)) return;
  message_ = std::string(length, '\0');
  asio::async_read(socket_, asio::buffer(message_),
                   [self = shared_from_this()](asio::error_code error, size_t) {
                     if (!error) self->on_message();
                   });
}

void Session::on_message() {
  wire::Answer answer;
  if (!greeted_) {
    bool accepted = greet(answer);
    if (accepted || answer.status() != NVREG_OK) send(answer, accepted);
    return;
  }
  wire::Call call;
  if (!from_bytes(message_, call) || call.action() == wire::NOTHING) return;
  message_ = std::string();  // an idle client holds no memory
  send(zeva::answer(store_, call), true);
}

bool Session::greet(wire::Answer& answer) {
  wire::Greeting greeting;
  if (!from_bytes(message_, greeting)) return false;
  greeted_ = greeting.version() == kWireVersion && same_cookie(greeting.cookie(), cookie_);
  answer.set_status(greeted_ ? NVREG_OK : NVREG_REFUSED);
  if (greeted_) on_greeted_(this);
  return greeted_;
}

void Session::send(wire::Answer const& answer, bool go_on) {
  frame_ = to_frame(answer);
  asio::async_write(socket_, asio::buffer(frame_),
                    [self = shared_from_this(), go_on](asio::error_code error, size_t) {
                      self->frame_ = std::string();
                      if (!error && go_on) self->read_frame();
                    });
}

}  // namespace zeva
