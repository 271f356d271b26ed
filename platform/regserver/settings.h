// The server's settings: bin/migration/RegSvrCfg.ini below the home.
#pragma once

#include "product_home.h"

#include <stdint.h>

#include <string>

namespace zeva {

struct Settings {
  uint16_t port = kRegistryPort;
};

// Reads section CFILTER_REGSERVER: CFILTER_REGSERVER_PORT, and CFILTER_REGSERVER_ADDRESS, which may
// only be 127.0.0.1. A missing file or key leaves the default; anything wrong is a failure, and
// `why` says what.
[[nodiscard]] bool read_settings(std::string const& home, Settings& settings, std::string& why);

}  // namespace zeva
