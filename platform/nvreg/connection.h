// A client's connection to the registry server: one call at a time, blocking, no thread.
//
// A call that is abandoned in the middle (a jump out of a signal handler) leaves the server as it
// was or the change made whole; this object is then good for nothing but being dropped.
#pragma once

#include <stdint.h>

#include <string>

#include "registry.pb.h"

namespace zeva {

class Connection {
 public:
  Connection() = default;
  ~Connection();
  Connection(Connection const&) = delete;
  Connection& operator=(Connection const&) = delete;

  // Connects to the server of this home at 127.0.0.1 and shows it the cookie.
  [[nodiscard]] int32_t open(uint16_t port);

  // The answer's status, or NVREG_NO_SERVER or NVREG_MALFORMED when there was none; the connection
  // is closed then, and every later call gives NVREG_NO_SERVER.
  [[nodiscard]] int32_t call(wire::Call const& call, wire::Answer& answer);

 private:
  [[nodiscard]] int32_t exchange(std::string const& frame, wire::Answer& answer);
  [[nodiscard]] bool send(std::string const& frame);
  [[nodiscard]] bool receive(char* bytes, size_t length);
  void close();

  int socket_ = -1;
};

}  // namespace zeva
