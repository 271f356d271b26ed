// Who is at the other end of a connection over the loopback address, as the kernel knows it.
#pragma once

#include "descriptor.h"

#include <asio/ip/tcp.hpp>

#include <stdint.h>

namespace zeva {

class Peers {
 public:
  // Whether the peer's socket is root's or of this process's own user: they alone may read the
  // cookie. False when the kernel does not tell, too.
  [[nodiscard]] bool is_one_of_us(asio::ip::tcp::socket const& socket);

 private:
  Descriptor kernel_ = line_to_kernel();  // one for all: a flood costs no descriptor more
  uint32_t number_ = 0;                   // of the last question

  [[nodiscard]] static Descriptor line_to_kernel();
};

}  // namespace zeva
