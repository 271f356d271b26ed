// Signal handling of the run.
#pragma once

using SignalHandler = void (*)(int);

// Installs a handler (or SIG_IGN, SIG_DFL). While it runs SIGTERM, SIGHUP, SIGUSR1 and SIGINT are
// blocked; system calls it interrupts are not restarted. Returns the previous handler, or SIG_ERR.
SignalHandler my_signal(int number, SignalHandler handler);

// Handler of the termination signals: ends the process at once with -100, without restore and
// without clean-up. Only the package key does not stay behind.
[[noreturn]] void end_migrate(int number);
