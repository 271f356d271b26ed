// A client's connection to the registry server: one call at a time, blocking, no thread.
//
// A call that is abandoned in the middle (a jump out of a signal handler) leaves the server as it
// was or the change made whole; this object is then good for nothing but being dropped.
#pragma once

#include "descriptor.h"
#include "polling.h"
#include "registry.pb.h"

#include <stdint.h>
#include <sys/types.h>

#include <string>

namespace zeva {

class Connection {
 public:
  // Connects to the server of this home that serves a port of 127.0.0.1: by its socket in the home,
  // else by the port. NVREG_REFUSED when this user may not read the home's cookie, or when whoever
  // accepts the connection does not prove that he knows it: he has learned nothing then. A
  // connection that is lost before it was proved is tried again for two seconds.
  [[nodiscard]] int32_t open(uint16_t port);

  // The answer's status, or NVREG_NO_SERVER or NVREG_MALFORMED when there was none; the connection
  // is closed then, and every later call gives NVREG_NO_SERVER.
  [[nodiscard]] int32_t call(wire::Call const& call, wire::Answer& answer);

 private:
  [[nodiscard]] bool connect_in_home();
  [[nodiscard]] bool connect(uint16_t port);
  [[nodiscard]] int32_t prove_each_other(uint16_t port);
  [[nodiscard]] int32_t open_at_port(uint16_t port);
  [[nodiscard]] int32_t receive_challenge(wire::Challenge& challenge);
  [[nodiscard]] int32_t exchange(std::string const& frame, wire::Answer& answer);
  [[nodiscard]] bool send(std::string const& frame);
  [[nodiscard]] int32_t receive(wire::Answer& answer);
  [[nodiscard]] ssize_t receive_some(char* bytes, size_t room);
  [[nodiscard]] bool receive_in_time(char* bytes, size_t length);

  Descriptor socket_;
  Polling polling_;
};

}  // namespace zeva
