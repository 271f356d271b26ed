#include "command.h"

#include "descriptor.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zeva {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kTick = 1000;  // milliseconds

int signal_fd = -1;  // once open, to the program's end
sigset_t mask_before;
int received = 0;

struct Pipe {
  Descriptor from;
  Descriptor to;
  [[nodiscard]] bool open() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    from = Descriptor(ends[0]);
    to = Descriptor(ends[1]);
    return true;
  }
};

// Starts the command with its output going into the pipes; 0 or the error number.
int start(Command const& command, Pipe const& output, Pipe const& error, pid_t& child) {
  std::vector<char*> arguments;
  for (std::string const& argument : command.arguments) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.to.get(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, error.to.get(), STDERR_FILENO);
  if (!command.folder.empty()) {
    posix_spawn_file_actions_addchdir_np(&actions, command.folder.c_str());
  }

  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  short flags = POSIX_SPAWN_SETPGROUP;  // its own group, so that its children can be ended too
  if (signal_fd >= 0) {
    posix_spawnattr_setsigmask(&attributes, &mask_before);
    flags |= POSIX_SPAWN_SETSIGMASK;
  }
  posix_spawnattr_setflags(&attributes, flags);
  int const failure =
      posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return failure;
}

// Reads what is there; closes the end when nothing more can come.
void drain(Pipe& pipe, std::string& collected,
           std::function<void(std::string const&)> const& seen) {
  char buffer[16 * 1024];
  ssize_t const got = read(pipe.from.get(), buffer, sizeof buffer);
  if (got < 0 && errno == EINTR) return;
  if (got <= 0) {
    pipe.from = Descriptor();
    return;
  }
  std::string const piece(buffer, static_cast<size_t>(got));
  collected += piece;
  if (seen) seen(piece);
}

void collect(Command const& command, pid_t child, Pipe& output, Pipe& error,
             CommandResult& result) {
  while (output.from || error.from) {
    pollfd sources[] = {
        {output.from.get(), POLLIN, 0}, {error.from.get(), POLLIN, 0}, {signal_fd, POLLIN, 0}};
    int const ready = poll(sources, 3, kTick);
    if (ready < 0 && errno != EINTR) break;
    if (ready <= 0) {
      if (command.on_output) command.on_output("");
      continue;
    }
    if (sources[2].revents != 0 && signal_received() != 0) {
      result.stopped = true;
      kill(-child, SIGTERM);
    }
    if (sources[0].revents != 0) drain(output, result.output, command.on_output);
    if (sources[1].revents != 0) drain(error, result.error, {});
  }
}

}  // namespace

sigset_t ending_signals() {
  sigset_t ending;
  sigemptyset(&ending);
  for (int const number : kEndingSignals) {
    struct sigaction current;
    sigaction(number, nullptr, &current);
    if (current.sa_handler != SIG_IGN) sigaddset(&ending, number);
  }
  return ending;
}

void hold_signals() {
  sigset_t const held = ending_signals();
  sigprocmask(SIG_BLOCK, &held, &mask_before);
  signal_fd = signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK);
  // Caught and not ignored, so that the commands get it as usual.
  signal(SIGPIPE, [](int) {});
}

int signal_received() {
  signalfd_siginfo info;
  while (signal_fd >= 0 && read(signal_fd, &info, sizeof info) == sizeof info) {
    received = static_cast<int>(info.ssi_signo);
  }
  return received;
}

std::string CommandResult::explanation() const {
  if (not_run) return *not_run;
  if (stopped) return "interrupted";
  size_t const begin = error.find_first_not_of('\n');
  if (begin != std::string::npos) return error.substr(begin, error.find('\n', begin) - begin);
  return program + " ended with status " + std::to_string(exit_status);
}

CommandResult run_command(Command const& command) {
  CommandResult result;
  result.program = command.arguments[0];
  if (signal_received() != 0) {
    result.stopped = true;
    return result;
  }
  Pipe output;
  Pipe error;
  pid_t child = -1;
  int const failure = output.open() && error.open() ? start(command, output, error, child) : errno;
  if (failure != 0) {
    result.not_run = command.arguments[0] + " cannot be run: " + strerror(failure);
    return result;
  }
  output.to = Descriptor();
  error.to = Descriptor();
  collect(command, child, output, error, result);

  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  result.exit_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace zeva
