#include "regserver_control.h"

#include "commands.h"
#include "fixed_text.h"
#include "product_home.h"
#include "run_lock.h"
#include "runlog.h"

#include <unistd.h>

using zeva::FixedText;
using zeva::kRegServerProcess;

namespace {

// What can be started can be stopped: every home whose command fits into the first fits into the
// second.
constexpr size_t kStartSize = 1023;
constexpr size_t kStopSize = 1024;

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
    (void)StopRegServer();  // one that stays counts as started
  }

  auto command = service_command<kStartSize>("start");
  zeva::share_run_lock(false);
  int const status = zeva::run_shell(command);
  zeva::share_run_lock(true);
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
  auto command = service_command<kStopSize>("stop");
  if (zeva::run_shell(command) == -1) {
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
