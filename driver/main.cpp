// zeva-migrate: imports an exported-settings package into the policy store of this installation.
//
//   zeva-migrate PACKAGE [LOG]
//   zeva-migrate --help | -h | --version

#include "migrate.h"
#include "result.h"
#include "results.h"
#include "runlog.h"
#include "signals.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr char kSeparator[] = "==================================================";

int usage(char* program) {
  return dprintf(STDOUT_FILENO, "usage: %s pkg_filea_name [log_file_name]\n", program);
}

constexpr char kHelp[] =
    "\n"
    "Imports a settings package into the policy store of this installation\n"
    "(ZEVA_HOME, /opt/norva/zeva when it is unset). Run it as root, with the home's\n"
    "bin folder in PATH. zeva-rehearse shows beforehand what a package would do.\n"
    "\n"
    "The run log is log_file_name, else migration.log in the working folder; every\n"
    "line of it is also printed. The exit status is the low eight bits of the\n"
    "result:\n"
    "\n";

void print_help(char* program) {
  usage(program);
  dprintf(STDOUT_FILENO, "%s", kHelp);
  for (zeva::Result const& result : zeva::kResults)
    dprintf(STDOUT_FILENO, "  %4d  %s\n", result.code, result.meaning);
  dprintf(STDOUT_FILENO, "\nzeva-migrate(8) says what to do after each of them.\n");
}

// Answers a question about the tool itself. A package may have any name, so one of that name is
// what is meant.
bool answer(char* program, char const* question) {
  if (access(question, F_OK) == 0) return false;
  bool version = strcmp(question, "--version") == 0;
  bool help = strcmp(question, "--help") == 0 || strcmp(question, "-h") == 0;
  if (version) dprintf(STDOUT_FILENO, "%s\n", ZEVA_VERSION);
  if (help) print_help(program);
  return version || help;
}

// With a standard descriptor closed, the next file or connection would take its number, and the
// log's echo would go into it.
void fill_standard_descriptors() {
  int fd;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd >= 0) close(fd);
}

void ignore_signal(int) {}

// Whoever started the run may have left signals ignored or blocked and the width of a terminal set:
// system() needs to be told of ended children, the watchdog its alarm, and ps whole lines.
void forget_the_starter() {
  my_signal(SIGCHLD, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  unsetenv("COLUMNS");
}

void choose_log(int argc, char** argv) {
  if (argc == 3) {
    SetDebugLogFileName(argv[2]);
    return;
  }
  char folder[1024];  // the log takes no longer path, and has a name of its own
  char path[1024 + sizeof "/migration.log"];
  if (getcwd(folder, sizeof folder) == nullptr) return;
  snprintf(path, sizeof path, "%s/migration.log", folder);
  SetDebugLogFileName(path);
}

void install_signal_handlers() {
  my_signal(SIGTERM, end_migrate);
  my_signal(SIGINT, end_migrate);
  my_signal(SIGQUIT, end_migrate);
  my_signal(SIGHUP, SIG_IGN);
}

void log_start() {
  time_t now = time(nullptr);
  tm local;
  localtime_r(&now, &local);
  char when[32];
  strftime(when, sizeof when, "%Y/%m/%d %H:%M:%S", &local);
  LogDebugMessage("Start migration [%s] ...", when);
}

}  // namespace

int main(int argc, char** argv) {
  fill_standard_descriptors();
  forget_the_starter();
  // Nobody reading the echo is no reason to stop. A handler and not SIG_IGN, so that the commands
  // of the run start with the default.
  my_signal(SIGPIPE, ignore_signal);

  if (argc == 2 && answer(argv[0], argv[1])) return 0;
  if (argc != 2 && argc != 3) {
    usage(argv[0]);
    my_exit(zeva::kInterrupted);
  }
  choose_log(argc, argv);
  LogDebugMessage("%s", kSeparator);
  install_signal_handlers();
  log_start();
  int code = migrate(argv[1]);
  LogDebugMessage("End migration(%d).", code);
  LogDebugMessage("%s\n", kSeparator);
  my_exit(code);
}
