#include "connection.h"

#include "files.h"
#include "frame.h"
#include "nvreg.h"
#include "product_home.h"
#include "proof.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <string_view>
#include <thread>

namespace zeva {

namespace {

// How long a stranger at the port may keep us waiting for each part of a frame.
constexpr timeval kGreetingWait = {10, 0};

// A server that many come to at once may drop one who has not proved himself. He comes again, each
// time after twice the pause, as long as this takes no longer in all.
constexpr std::chrono::milliseconds kFirstPause{50};
constexpr std::chrono::seconds kTryTime{2};

std::string config_folder() {
  return std::string(product_home()) + "/config";
}

// Whose server a client may talk to: his own, root's, or that of the user who owns the store's
// folder.
bool is_trusted(uid_t user) {
  struct stat store;
  return user == geteuid() || user == 0 ||
         (stat(config_folder().c_str(), &store) == 0 && user == store.st_uid);
}

// A cookie is a secret of the server's only in a file that nobody else could read or put there.
bool is_secret(struct stat const& about) {
  return S_ISREG(about.st_mode) && (about.st_mode & (S_IRWXG | S_IRWXO)) == 0 &&
         is_trusted(about.st_uid);
}

// Empty when this user may not read it or should not trust it.
std::string read_cookie() {
  std::string const path = config_folder() + kCookieFile;
  Descriptor const file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  std::string cookie;
  struct stat about;
  if (fstat(file.get(), &about) != 0 || !is_secret(about) ||
      read_regular(file.get(), cookie, kSecretLength) != 0 || cookie.size() != kSecretLength)
    return {};
  return cookie;
}

// A connect() that a signal interrupts goes on by itself.
bool finish_connect(int socket) {
  pollfd wait = {socket, POLLOUT, 0};
  while (poll(&wait, 1, -1) < 0) {
    if (errno != EINTR) return false;
  }
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

sockaddr_in loopback(uint32_t address, uint16_t port) {
  sockaddr_in loopback = {};
  loopback.sin_family = AF_INET;
  loopback.sin_port = htons(port);
  loopback.sin_addr.s_addr = htonl(address);
  return loopback;
}

bool connect_loopback(int socket, uint16_t port) {
  sockaddr_in const server = loopback(INADDR_LOOPBACK, port);
  if (connect(socket, reinterpret_cast<sockaddr const*>(&server), sizeof server) == 0) return true;
  return errno == EINTR && finish_connect(socket);
}

// Another user may hold each port that a connection from 127.0.0.1 to the server can come from, but
// not those of all loopback addresses: one of these at random.
bool leave_taken_ports(int socket) {
  std::string const random = make_secret();
  if (random.empty()) return false;
  sockaddr_in const own = loopback(0x7f000000 | get_number32(random.data()) >> 8, 0);
  int on = 1;
  setsockopt(socket, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
  return bind(socket, reinterpret_cast<sockaddr const*>(&own), sizeof own) == 0;
}

// For what is received, and, at the socket in the home, for room for a connection.
void set_wait(int socket, timeval wait) {
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &wait, sizeof wait);
}

}  // namespace

int32_t Connection::open(uint16_t port) {
  int32_t status = connect_in_home() ? prove_each_other(port) : NVREG_NO_SERVER;
  if (status < 0) status = open_at_port(port);
  if (status >= 0) set_wait(socket_.get(), {0, 0});
  return status;
}

int32_t Connection::open_at_port(uint16_t port) {
  auto const end = std::chrono::steady_clock::now() + kTryTime;
  for (auto pause = kFirstPause;; pause *= 2) {
    if (!connect(port)) return NVREG_NO_SERVER;
    int32_t const status = prove_each_other(port);
    if (status >= 0) return status;
    socket_ = Descriptor();
    if (status != NVREG_NO_SERVER) return status;
    // Whoever says nothing has used up the time by himself.
    if (std::chrono::steady_clock::now() + pause > end) return NVREG_REFUSED;
    std::this_thread::sleep_for(pause);
  }
}

// Who may put a socket into the folder could also let the server's answer for him, so its owner
// must be one to trust.
bool Connection::connect_in_home() {
  std::string const path = config_folder() + kHomeSocket;
  sockaddr_un server = {};
  server.sun_family = AF_UNIX;
  if (path.size() >= sizeof server.sun_path) return false;
  path.copy(server.sun_path, path.size());
  socket_ = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  set_wait(socket_.get(), kGreetingWait);
  ucred owner = {};
  socklen_t size = sizeof owner;
  return ::connect(socket_.get(), reinterpret_cast<sockaddr const*>(&server), sizeof server) == 0 &&
         getsockopt(socket_.get(), SOL_SOCKET, SO_PEERCRED, &owner, &size) == 0 &&
         is_trusted(owner.uid);
}

bool Connection::connect(uint16_t port) {
  socket_ = Descriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  int const socket = socket_.get();
  if (socket < 0) return false;
  if (!connect_loopback(socket, port) &&
      (errno != EADDRNOTAVAIL || !leave_taken_ports(socket) || !connect_loopback(socket, port)))
    return false;
  int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  set_wait(socket, kGreetingWait);
  return true;
}

// NVREG_NO_SERVER when the connection is lost.
int32_t Connection::prove_each_other(uint16_t port) {
  // The cookie is read after connecting: a server that accepts has written its own.
  std::string const cookie = read_cookie();
  std::string const nonce = make_secret();
  if (cookie.empty() || nonce.empty()) return NVREG_REFUSED;

  wire::Greeting greeting;
  greeting.set_version(kWireVersion);
  greeting.set_nonce(nonce);
  wire::Challenge challenge;
  if (!send(to_frame(greeting))) return NVREG_NO_SERVER;
  int32_t const received = receive_challenge(challenge);
  if (received < 0) return received;
  std::string const& theirs = challenge.nonce();
  if (theirs.size() != kSecretLength ||
      !same_proof(challenge.proof(), make_proof(cookie, Side::kServer, port, nonce, theirs)))
    return NVREG_REFUSED;

  wire::Proof proof;
  proof.set_proof(make_proof(cookie, Side::kClient, port, theirs, nonce));
  wire::Answer answer;
  return exchange(to_frame(proof), answer);
}

int32_t Connection::receive_challenge(wire::Challenge& challenge) {
  char header[kFrameHeader];
  if (!receive_in_time(header, sizeof header)) return NVREG_NO_SERVER;
  uint32_t length = get_number32(header);
  if (length == 0 || length > kMaxGreeting) return NVREG_REFUSED;
  std::string message(length, '\0');
  if (!receive_in_time(message.data(), length)) return NVREG_NO_SERVER;
  return from_bytes(message, challenge) ? NVREG_OK : NVREG_REFUSED;
}

int32_t Connection::call(wire::Call const& call, wire::Answer& answer) {
  std::string frame = to_frame(call);
  if (frame.size() > kFrameHeader + kMaxFrame) return NVREG_FRAME_TOO_LONG;
  return exchange(frame, answer);
}

int32_t Connection::exchange(std::string const& frame, wire::Answer& answer) {
  int32_t const status = socket_ && send(frame) ? receive(answer) : NVREG_NO_SERVER;
  if (status >= 0) return answer.status();
  socket_ = Descriptor();
  return status;
}

bool Connection::send(std::string const& frame) {
  for (size_t sent = 0; sent < frame.size();) {
    ssize_t got = ::send(socket_.get(), frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    sent += static_cast<size_t>(got);
  }
  return true;
}

// The one answer that is to come, whose frame is in one piece as a rule.
int32_t Connection::receive(wire::Answer& answer) {
  char piece[64 * 1024];
  std::string frame;
  size_t length = kFrameHeader;  // of the frame, once that has come
  while (frame.size() < length) {
    ssize_t const got = receive_some(piece, sizeof piece);
    if (got <= 0) return NVREG_NO_SERVER;
    frame.append(piece, static_cast<size_t>(got));
    if (frame.size() < kFrameHeader) continue;
    size_t const message = get_number32(frame.data());
    if (message > kMaxFrame) return NVREG_MALFORMED;
    length = kFrameHeader + message;
  }
  std::string_view const message = std::string_view(frame).substr(kFrameHeader);
  return frame.size() == length && from_bytes(message, answer) ? NVREG_OK : NVREG_MALFORMED;
}

ssize_t Connection::receive_some(char* bytes, size_t room) {
  ssize_t got;
  auto const look = [&](int flags) {
    do got = recv(socket_.get(), bytes, room, flags);
    while (got < 0 && errno == EINTR);
    return got >= 0 || errno != EAGAIN;
  };
  if (!polling_.poll([&] { return look(MSG_DONTWAIT); })) (void)look(0);
  return got;
}

// All at once: so the socket's wait is for the whole, and bytes that trickle in do not prolong it.
bool Connection::receive_in_time(char* bytes, size_t length) {
  ssize_t got;
  do got = recv(socket_.get(), bytes, length, MSG_WAITALL);
  while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(length);
}

}  // namespace zeva
