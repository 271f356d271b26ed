#include "session.h"

#include "answer.h"
#include "nvreg.h"
#include "proof.h"

#include <asio/post.hpp>
#include <asio/write.hpp>

#include <utility>

namespace zeva {

namespace {

// How many calls of one client are answered before all others, the signals and whoever wants to
// connect have their turn.
constexpr int kCallsInARow = 16;

constexpr size_t kMuch = size_t{64} * 1024;  // bytes of a message

// An idle client holds no large memory.
void empty(std::string& text) {
  text.clear();
  if (text.capacity() > kMuch) text.shrink_to_fit();
}

}  // namespace

Session::Session(Socket socket, uint16_t port, Store& store, std::string const& cookie,
                 std::function<void(Session*)> on_greeted)
    : socket_(std::move(socket)),
      port_(port),
      store_(store),
      cookie_(cookie),
      on_greeted_(std::move(on_greeted)) {}

void Session::start() {
  asio::error_code error;
  socket_.non_blocking(true, error);
  if (!error) serve();
}

void Session::close() {
  asio::error_code ignored;
  socket_.close(ignored);
}

// Answers what has arrived, and waits for more. Returning without a wait ends the session.
void Session::serve() {
  for (int i = 0; i < kCallsInARow; ++i) {
    Input const input = receive();
    if (input == Input::kNothing) return wait();
    if (input == Input::kLost || !answer_message() || !send()) return;
  }
  asio::post(socket_.get_executor(), [self = shared_from_this()] { self->serve(); });
}

void Session::wait() {
  socket_.async_read_some(room(), [self = shared_from_this()](asio::error_code error, size_t got) {
    if (error) return;
    self->take(got);
    self->serve();
  });
}

// A frame comes whole in one piece, as a rule. Polling looks for the next one.
Session::Input Session::receive() {
  Input input;
  while ((input = has_message()) == Input::kNothing && stage_ == Stage::kCalls) {
    size_t got = 0;
    asio::error_code error;
    auto const look = [&] {
      got = socket_.read_some(room(), error);
      return error != asio::error::would_block;
    };
    if (!polling_.poll(look)) return Input::kNothing;
    if (error) return Input::kLost;
    take(got);
  }
  return input;
}

// Where the next piece goes. Memory follows what arrives.
asio::mutable_buffer Session::room() {
  size_t const most =
      stage_ == Stage::kCalls ? sizeof piece_ : kFrameHeader + kMaxGreeting - unanswered().size();
  return asio::buffer(piece_, most);
}

void Session::take(size_t got) {
  input_.erase(0, std::exchange(answered_, 0));
  input_.append(piece_, got);
}

Session::Input Session::has_message() const {
  std::string_view const frame = unanswered();
  if (frame.size() < kFrameHeader) return Input::kNothing;
  size_t const length = get_number32(frame.data());
  if (length > (stage_ == Stage::kCalls ? kMaxFrame : kMaxGreeting)) return Input::kLost;
  return frame.size() < kFrameHeader + length ? Input::kNothing : Input::kMessage;
}

std::string_view Session::unanswered() const {
  return std::string_view(input_).substr(answered_);
}

// Puts the answer into frame_; false when there is none, and the session ends.
bool Session::answer_message() {
  size_t const length = get_number32(unanswered().data());
  std::string_view const message = unanswered().substr(kFrameHeader, length);
  bool answered = false;
  switch (stage_) {
    case Stage::kGreeting:
      answered = on_greeting(message);
      break;
    case Stage::kProof:
      answered = on_proof(message);
      break;
    case Stage::kCalls:
      answered = on_call(message);
      break;
  }
  answered_ += kFrameHeader + length;
  if (unanswered().empty()) {
    empty(input_);
    answered_ = 0;
  }
  return answered;
}

bool Session::on_greeting(std::string_view message) {
  wire::Greeting greeting;
  if (!from_bytes(message, greeting)) return false;
  std::string const nonce = make_secret();
  std::string const& theirs = greeting.nonce();
  if (greeting.version() != kWireVersion || theirs.size() != kSecretLength || nonce.empty())
    return refuse();
  expected_proof_ = make_proof(cookie_, Side::kClient, port_, nonce, theirs);
  stage_ = Stage::kProof;
  wire::Challenge challenge;
  challenge.set_nonce(nonce);
  challenge.set_proof(make_proof(cookie_, Side::kServer, port_, theirs, nonce));
  frame_ = to_frame(challenge);
  return true;
}

bool Session::on_proof(std::string_view message) {
  wire::Proof proof;
  if (!from_bytes(message, proof)) return false;
  if (!same_proof(proof.proof(), expected_proof_)) return refuse();
  stage_ = Stage::kCalls;
  on_greeted_(this);
  frame_ = to_frame(wire::Answer());
  return true;
}

bool Session::on_call(std::string_view message) {
  // One thread serves all sessions, so that they share these, whose memory is kept unless it is
  // much.
  static wire::Call call;
  static wire::Answer given;
  if (!from_bytes(message, call) || call.action() == wire::NOTHING) return false;
  answer(store_, call, given);
  frame_ = to_frame(given);
  if (message.size() > kMuch) call = {};
  if (frame_.size() > kMuch) given = {};
  return true;
}

bool Session::refuse() {
  wire::Answer answer;
  answer.set_status(NVREG_REFUSED);
  frame_ = to_frame(answer);
  refused_ = true;
  return true;
}

// False when serve() is not to go on: after a refusal, when the connection is lost, or while a
// client takes his answer slowly.
bool Session::send() {
  asio::error_code error;
  size_t const sent = socket_.write_some(asio::buffer(frame_), error);
  if (error && error != asio::error::would_block) return false;
  if (sent == frame_.size()) {
    empty(frame_);
    return !refused_;
  }
  asio::async_write(socket_, asio::buffer(frame_) + sent,
                    [self = shared_from_this()](asio::error_code failure, size_t) {
                      empty(self->frame_);
                      if (!failure && !self->refused_) self->serve();
                    });
  return false;
}

}  // namespace zeva
