#include "session.h"

#include "answer.h"
#include "nvreg.h"
#include "proof.h"

#include <asio/buffer.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>

#include <utility>

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
  if (length > (stage_ == Stage::kCalls ? kMaxFrame : kMaxGreeting)) return;
  message_ = std::string(length, '\0');
  asio::async_read(socket_, asio::buffer(message_),
                   [self = shared_from_this()](asio::error_code error, size_t) {
                     if (!error) self->on_message();
                   });
}

void Session::on_message() {
  switch (stage_) {
    case Stage::kGreeting:
      return on_greeting();
    case Stage::kProof:
      return on_proof();
    case Stage::kCalls:
      return on_call();
  }
}

void Session::on_greeting() {
  wire::Greeting greeting;
  if (!from_bytes(message_, greeting)) return;
  asio::error_code error;
  uint16_t const port = socket_.local_endpoint(error).port();
  std::string const nonce = make_secret();
  std::string const& theirs = greeting.nonce();
  if (greeting.version() != kWireVersion || theirs.size() != kSecretLength || nonce.empty())
    return refuse();
  expected_proof_ = make_proof(cookie_, Side::kClient, port, nonce, theirs);
  stage_ = Stage::kProof;
  wire::Challenge challenge;
  challenge.set_nonce(nonce);
  challenge.set_proof(make_proof(cookie_, Side::kServer, port, theirs, nonce));
  send(challenge, true);
}

void Session::on_proof() {
  wire::Proof proof;
  if (!from_bytes(message_, proof)) return;
  if (!same_proof(proof.proof(), expected_proof_)) return refuse();
  stage_ = Stage::kCalls;
  on_greeted_(this);
  send(wire::Answer(), true);
}

void Session::on_call() {
  wire::Call call;
  if (!from_bytes(message_, call) || call.action() == wire::NOTHING) return;
  message_ = std::string();  // an idle client holds no memory
  send(zeva::answer(store_, call), true);
}

void Session::refuse() {
  wire::Answer answer;
  answer.set_status(NVREG_REFUSED);
  send(answer, false);
}

template <class Message>
void Session::send(Message const& message, bool go_on) {
  frame_ = to_frame(message);
  asio::async_write(socket_, asio::buffer(frame_),
                    [self = shared_from_this(), go_on](asio::error_code error, size_t) {
                      self->frame_ = std::string();
                      if (!error && go_on) self->read_frame();
                    });
}

}  // namespace zeva
