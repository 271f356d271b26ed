// Runs other programs without a shell, and ends them when this program is told to end.
//
// A tool that must leave nothing behind cannot die of a signal: it calls hold_signals() first. From
// then on SIGINT, SIGTERM, SIGHUP and SIGQUIT end the running command instead, run_command says so,
// and the tool returns through its own clean-up. Signals that the caller had ignored stay ignored.
#pragma once

#include <signal.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace zeva {

// The signals above, without those that the caller had ignored.
[[nodiscard]] sigset_t ending_signals();

void hold_signals();

// The held signal that has arrived, 0 if none has.
[[nodiscard]] int signal_received();

struct Command {
  std::vector<std::string> arguments;  // the program first, looked up in PATH
  std::string folder;                  // to run in; empty: this program's own
  // Called with the piece of standard output that has just arrived, and with an empty one about
  // every second in between. Without it, output is only collected.
  std::function<void(std::string const&)> on_output;
};

struct CommandResult {
  std::string program;
  int exit_status = -1;  // 0 to 255; 128 and the signal's number when a signal ended it
  std::string output;
  std::string error;                   // its standard error
  std::optional<std::string> not_run;  // why it could not be started
  bool stopped = false;                // ended early, by a signal to this program

  [[nodiscard]] bool succeeded() const { return !not_run && !stopped && exit_status == 0; }
  // One line for a person: the first line that is not empty of its standard error, or how it ended.
  [[nodiscard]] std::string explanation() const;
};

// Standard input is /dev/null.
[[nodiscard]] CommandResult run_command(Command const& command);

}  // namespace zeva
