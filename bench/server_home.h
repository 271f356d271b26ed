// A home for a registry server of a benchmark's own.
#pragma once

#include "scratch.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace zeva {

// All but a store; it is this process's home from now on, and that of those which it starts.
inline void lay_out_home(Folder const& folder, uint16_t port) {
  std::filesystem::create_directories(folder / "config");
  std::filesystem::create_directories(folder / "bin/migration");
  std::ofstream(folder / "bin/migration/RegSvrCfg.ini")
      << "[CFILTER_REGSERVER]\nCFILTER_REGSERVER_PORT=" << port << "\n";
  setenv("ZEVA_HOME", (folder / "").c_str(), 1);
}

[[noreturn]] inline void become_server() {
  execl(REGSERVER, "regserver", nullptr);
  fail(REGSERVER);
}

}  // namespace zeva
