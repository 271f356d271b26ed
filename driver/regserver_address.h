// Where the registry server listens.
#pragma once

#include "fixed_text.h"

#include <string>

// Reads the server's port from HOME/bin/migration/RegSvrCfg.ini, as it stands there. Returns 0, or
// -1 with `port` untouched, after logging why.
[[nodiscard]] int getregport(char const* home, std::string& port);

namespace zeva {

// The same without a word in the log.
enum class PortSetting { kFound, kNoFile, kNoPort };
[[nodiscard]] PortSetting find_regport(std::string const& home, std::string& port);

// The server's address as the importers take it, "ZEVA:" and its port. In a buffer of its own: a
// string would have to be freed after the watchdog's jump.
[[nodiscard]] FixedText<> regserver_address();

}  // namespace zeva
