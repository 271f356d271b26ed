#include "sandbox.h"

#include "command.h"
#include "files.h"
#include "tool.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zeva {
namespace {

// The environment variable that names the descriptor of the arguments.
constexpr char kArguments[] = "ZEVA_REHEARSAL";

// What the tool can do as root and needs for a package's files; another user has nothing to keep.
constexpr char const* kCapabilities[] = {"CAP_CHOWN",  "CAP_DAC_OVERRIDE", "CAP_FOWNER",
                                         "CAP_FSETID", "CAP_KILL",         "CAP_MKNOD"};

constexpr char const* kInstalled[] = {"/bin", "/lib", "/config/zevautilerr"};
constexpr char kFactoryStore[] = "/config/factory.xml";  // a gateway may have none

std::vector<std::string> options(std::string const& installation, Visible const& visible,
                                 int arguments) {
  std::vector<std::string> all{"--die-with-parent",
                               "--new-session",
                               "--unshare-pid",
                               "--unshare-net",
                               "--unshare-ipc",
                               "--ro-bind",
                               "/",
                               "/",
                               "--dev",
                               "/dev",
                               "--proc",
                               "/proc",
                               "--tmpfs",
                               "/tmp",
                               "--tmpfs",
                               "/run",
                               "--chdir",
                               "/"};
  auto const add = [&](std::initializer_list<std::string> more) {
    all.insert(all.end(), more.begin(), more.end());
  };
  for (std::string const path : kInstalled) {
    add({"--ro-bind", installation + path, kScratchHome + path});
  }
  add({"--ro-bind-try", installation + kFactoryStore, std::string(kScratchHome) + kFactoryStore});
  for (auto const& [path, seen_at] : visible) add({"--ro-bind", path, seen_at});
  if (geteuid() == 0) {
    for (char const* capability : kCapabilities) add({"--cap-add", capability});
  }
  add({"--setenv", "ZEVA_HOME", kScratchHome, "--setenv", kArguments, std::to_string(arguments)});
  return all;
}

// A file that a program started from here inherits, each text with a NUL after it. bwrap gets its
// own options so, too.
Descriptor file_of(std::vector<std::string> const& texts) {
  std::string bytes;
  for (std::string const& text : texts) bytes += text + '\0';
  Descriptor file(memfd_create("arguments", 0));
  bool const ready =
      file.get() >= 0 && write_all(file.get(), bytes) == 0 && lseek(file.get(), 0, SEEK_SET) == 0;
  return ready ? std::move(file) : Descriptor();
}

// Starts the command with the signal mask that this process had; 0 or an errno.
int spawn(std::vector<std::string>& line, sigset_t const& mask, pid_t& child) {
  std::vector<char*> pointers;
  pointers.reserve(line.size() + 1);
  for (std::string& argument : line) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &mask);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  int const failure =
      posix_spawnp(&child, pointers[0], nullptr, &attributes, pointers.data(), environ);
  posix_spawnattr_destroy(&attributes);
  return failure;
}

// Waits for the child and hands on to it the signals among the awaited ones, which are blocked.
int status_of(pid_t child, sigset_t const& awaited) {
  int status = 0;
  for (int number = 0; waitpid(child, &status, WNOHANG) == 0;) {
    sigwait(&awaited, &number);
    if (number != SIGCHLD) kill(child, number);
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

std::optional<std::vector<std::string>> sandboxed_arguments() {
  char const* const number = getenv(kArguments);
  // Anybody can set a variable, but only the sandbox has this program there.
  bool const here = own_folder() == std::string(kScratchHome) + "/bin";
  if (number == nullptr || !here) return std::nullopt;
  Descriptor const file(atoi(number));
  std::string bytes;
  if (read_regular(file.get(), bytes) != 0) return std::nullopt;
  std::vector<std::string> arguments;
  for (size_t start = 0, end; (end = bytes.find('\0', start)) != bytes.npos; start = end + 1) {
    arguments.push_back(bytes.substr(start, end - start));
  }
  return arguments;
}

sigset_t hold_ending_signals() {
  sigset_t const ending = ending_signals();
  sigset_t before;
  sigprocmask(SIG_BLOCK, &ending, &before);
  return before;
}

int run_in_sandbox(std::string const& installation, Visible const& visible,
                   std::vector<std::string> const& arguments, sigset_t const& mask) {
  Descriptor const given = file_of(arguments);
  if (!given) return -1;
  Descriptor const file = file_of(options(installation, visible, given.get()));
  if (!file) return -1;
  std::vector<std::string> line{"bwrap", "--args", std::to_string(file.get()), "--",
                                std::string(kScratchHome) + "/bin/zeva-rehearse"};

  signal(SIGCHLD, SIG_DFL);  // ignored, it would take the child's status away
  sigset_t awaited = ending_signals();
  sigaddset(&awaited, SIGCHLD);
  sigprocmask(SIG_BLOCK, &awaited, nullptr);
  pid_t child = -1;
  errno = spawn(line, mask, child);
  return errno == 0 ? status_of(child, awaited) : -1;
}

}  // namespace zeva
