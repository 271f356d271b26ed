// Signal handling of the run.
#pragma once

namespace zeva {

using SignalHandler = void (*)(int);

}  // namespace zeva

// Installs a handler (or SIG_IGN, SIG_DFL). While it runs SIGTERM, SIGHUP, SIGUSR1 and SIGINT are
// blocked; system calls it interrupts are not restarted. Returns the previous handler, or SIG_ERR.
//
// For what the whole run goes by: the signals that end it, and those that must not. The watchdog's
// alarm is the migration's own, which installs it with signal().
zeva::SignalHandler my_signal(int number, zeva::SignalHandler handler);

// Handler of the termination signals: ends the process at once with kInterrupted, without restore
// and without clean-up. Only the package key does not stay behind.
[[noreturn]] void end_migrate(int number);
