#include "home_server.h"

#include "command.h"
#include "commands.h"
#include "regserver_control.h"

#include <signal.h>
#include <unistd.h>

namespace zeva {
namespace {

constexpr int kDoesNotRun = 3;  // of "status"
constexpr int kNotExecutable = 126;
constexpr int kNoScript = 127;

// As long as a migration waits, but looking more often.
constexpr int kRounds = 610;
constexpr useconds_t kRound = 200000;  // microseconds

// The keyboard's signals and those of a lost session go to every process of our group. A probe that
// they end would have found no server where one is still writing.
bool is_found() {
  sigset_t const ending = ending_signals();
  sigset_t before;
  sigprocmask(SIG_BLOCK, &ending, &before);
  bool const found = _find_process(kRegServerProcess);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return found;
}

}  // namespace

// A server that is left behind must not hold our ends of its output.
int HomeServer::call(std::string const& action) const {
  return run_command({{"sh", "-c", "exec \"$0\" \"$1\" > /dev/null 2>&1", script_, action}, "", {}})
      .exit_status;
}

bool HomeServer::runs() const {
  return is_found() && call("status") != kDoesNotRun;
}

std::optional<std::string> HomeServer::start() const {
  if (call("start") == 0) return std::nullopt;
  return script_ + " start says why";
}

std::optional<std::string> HomeServer::stop() const {
  // What the script says counts for less than whether the server goes.
  int const status = call("stop");
  if (status == kNotExecutable || status == kNoScript) return script_ + " cannot be run";
  for (int round = 0; runs(); ++round) {
    if (round == kRounds) return "it does not go; " + script_ + " stop says why";
    usleep(kRound);
  }
  return std::nullopt;
}

}  // namespace zeva
