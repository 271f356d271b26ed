#include "regserver_control.h"

#include "commands.h"
#include "fixed_text.h"
#include "nvconfigfile.h"
#include "product_home.h"
#include "run_lock.h"
#include "runlog.h"

#include <unistd.h>

namespace {

template <size_t Size>
FixedText<Size> service_command(char const* action) {
  FixedText<Size> command;
  command.add_word(zeva::product_home()).add("/bin/migration/S99Reg ").add(action);
  command.add(" > /dev/null 2>&1");
  return command;
}

}  // namespace

bool StartRegServer() {
  if (_find_process(kRegServerProcess)) {
    LogDebugMessage("StartRegServer [%d]: regserver is running, try to stop it firstly.", 0);
    StopRegServer();
  }

  auto command = service_command<1023>("start");
  share_run_lock(false);
  int const status = run_command(command);
  share_run_lock(true);
  if (status != 0) {
    LogDebugMessage("StartRegServer [%d]: %s failed.", 149, command.c_str());
    return false;
  }

  constexpr int kProbes = 11;
  for (int probe = 0; probe < kProbes; ++probe) {
    sleep(10);
    if (_find_process(kRegServerProcess)) {
      LogDebugMessage("StartRegServer [%d]: start successfully.", 160);
      return true;
    }
  }
  LogDebugMessage("StartRegServer [%d]: get successfully timeout.", 165);
  return true;
}

bool StopRegServer() {
  auto command = service_command<1024>("stop");
  if (run_command(command) == -1) {
    LogDebugMessage("StopRegServer [%d]: %s failed.", 109, command.c_str());
    return false;
  }

  constexpr int kRounds = 61;
  for (int round = 0; round < kRounds; ++round) {
    sleep(2);
    if (!_find_process(kRegServerProcess)) return true;
  }
  LogDebugMessage("StopRegServer [%d]: cannot stop regserver.", 121);
  return false;
}

int getregport(char const* home, std::string& port) {
  std::string path = std::string(home) + "/bin/migration/RegSvrCfg.ini";
  NvConfigFile settings(path);
  if (settings.readfile() != 0) {
    LogDebugMessage("Error [%d]: read RegSvrCfg.ini failed.", 183);
    return -1;
  }
  if (settings.getattribute("CFILTER_REGSERVER", "CFILTER_REGSERVER_PORT", port) != 0) {
    LogDebugMessage(
        "Error [%d]: read CFILTER_REGSERVER, CFILTER_REGSERVER_PORT from RegSvrCfg.ini failed.",
        188);
    return -1;
  }
  return 0;
}
