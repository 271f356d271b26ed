#include "connection.h"

#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "frame.h"
#include "home.h"
#include "nvreg.h"

namespace zeva {

namespace {

// How long a stranger at the port may keep us waiting for an answer to the greeting.
constexpr timeval kGreetingWait = {10, 0};

// Empty when this user may not read it.
std::string read_cookie() {
  std::string cookie(kCookieLength, '\0');
  int file =
      open((home_folder() + kCookieFile).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return {};
  ssize_t got = read(file, cookie.data(), cookie.size());
  close(file);
  return got == static_cast<ssize_t>(cookie.size()) ? cookie : std::string();
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

bool connect_loopback(int socket, uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return true;
  return errno == EINTR && finish_connect(socket);
}

void set_wait(int socket, timeval wait) {
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
}

}  // namespace

Connection::~Connection() {
  close();
}

void Connection::close() {
  if (socket_ >= 0) ::close(socket_);
  socket_ = -1;
}

int32_t Connection::open(uint16_t port) {
  socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (socket_ < 0 || !connect_loopback(socket_, port)) return NVREG_NO_SERVER;
  int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);

  // The cookie is read after connecting: a server that accepts has written its own.
  wire::Greeting greeting;
  greeting.set_version(kWireVersion);
  greeting.set_cookie(read_cookie());
  wire::Answer answer;
  set_wait(socket_, kGreetingWait);
  int32_t status = exchange(to_frame(greeting), answer);
  if (socket_ >= 0) set_wait(socket_, {0, 0});
  return status;
}

int32_t Connection::call(wire::Call const& call, wire::Answer& answer) {
  std::string frame = to_frame(call);
  if (frame.size() > kFrameHeader + kMaxFrame) return NVREG_FRAME_TOO_LONG;
  return exchange(frame, answer);
}

int32_t Connection::exchange(std::string const& frame, wire::Answer& answer) {
  char header[kFrameHeader];
  if (socket_ < 0 || !send(frame) || !receive(header, sizeof header)) {
    close();
    return NVREG_NO_SERVER;
  }
  uint32_t length = get_number32(header);
  if (length > kMaxFrame) {
    close();
    return NVREG_MALFORMED;
  }
  std::string message(length, '\0');
  bool received = receive(message.data(), length);
  if (received && from_bytes(message, answer)) return answer.status();
  close();
  return received ? NVREG_MALFORMED : NVREG_NO_SERVER;
}

bool Connection::send(std::string const& frame) {
  for (size_t sent = 0; sent < frame.size();) {
    ssize_t got = ::send(socket_, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    sent += static_cast<size_t>(got);
  }
  return true;
}

bool Connection::receive(char* bytes, size_t length) {
  while (length > 0) {
    ssize_t got = recv(socket_, bytes, length, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes += got;
    length -= static_cast<size_t>(got);
  }
  return true;
}

}  // namespace zeva
