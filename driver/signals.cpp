#include "signals.h"

#include "opened_package.h"
#include "result.h"
#include "results.h"

#include <signal.h>

#include <initializer_list>

zeva::SignalHandler my_signal(int number, zeva::SignalHandler handler) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  for (int blocked : {SIGTERM, SIGHUP, SIGUSR1, SIGINT}) sigaddset(&action.sa_mask, blocked);
  action.sa_flags = SA_INTERRUPT;

  struct sigaction previous = {};
  if (sigaction(number, &action, &previous) < 0) return SIG_ERR;
  return previous.sa_handler;
}

void end_migrate(int) {
  // The watchdog must not jump out of here, back into a run that is ending.
  sigset_t watchdog;
  sigemptyset(&watchdog);
  sigaddset(&watchdog, SIGALRM);
  sigprocmask(SIG_BLOCK, &watchdog, nullptr);

  zeva::abandon_package();
  my_exit(zeva::kInterrupted);
}
