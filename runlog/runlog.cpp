#include "runlog.h"

#include "descriptor.h"
#include "files.h"
#include "trusted_open.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/magic.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <time.h>
#include <unistd.h>

#include <initializer_list>

namespace {

constexpr size_t kMessageSize = 2048;
constexpr size_t kHeaderSize = 100;
constexpr useconds_t kPipePause = 20000;  // microseconds between two looks at a pipe

// A pipe takes a line whole or not at all.
static_assert(kHeaderSize + kMessageSize <= PIPE_BUF);

char log_path[1024] = "migration.log";
struct stat starting_folder = {};
bool failure_told = false;

enum class Outcome { kWritten, kLost, kNotOpened, kPipeNotReady };

// Holds back every signal that could jump out of, or end, the line being written: a jump out of
// localtime would leave its lock behind.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t held;
    sigemptyset(&held);
    for (int number : {SIGALRM, SIGTERM, SIGINT, SIGQUIT, SIGHUP}) sigaddset(&held, number);
    pthread_sigmask(SIG_BLOCK, &held, &before_);
  }
  ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(SignalsHeld const&) = delete;
  SignalsHeld& operator=(SignalsHeld const&) = delete;

 private:
  sigset_t before_;
};

// The run's working folder becomes the package's: from then on a relative path may be anything that
// the package holds.
bool leads_into_package() {
  struct stat here;
  return log_path[0] != '/' && (stat(".", &here) != 0 || here.st_dev != starting_folder.st_dev ||
                                here.st_ino != starting_folder.st_ino);
}

zeva::Descriptor open_log(int flags) {
  return zeva::Descriptor(
      zeva::open_trusted(AT_FDCWD, log_path, flags, 0666,
                         leads_into_package() ? zeva::Links::kNone : zeva::Links::kOwn));
}

// Whether to wait for the reader of a pipe that has failed with this error. A stranger's pipe, or
// one of the package, could keep the run waiting for ever; one that was handed to this process and
// has lost its reader gets no other.
bool is_worth_waiting(int pipe, int error) {
  struct stat status;
  struct statfs system;
  if (pipe < 0 || fstat(pipe, &status) != 0 || fstatfs(pipe, &system) != 0) return false;
  if (!S_ISFIFO(status.st_mode) || leads_into_package()) return false;
  if (system.f_type == PIPEFS_MAGIC) return error == EAGAIN;
  return zeva::is_trusted_owner(status.st_uid) &&
         (error == EAGAIN || error == EPIPE || error == ENXIO);
}

// Why the log could not be opened for writing is errno, before and afterwards.
Outcome not_opened() {
  int const error = errno;
  zeva::Descriptor const pipe = error == ENXIO ? open_log(O_RDONLY) : zeva::Descriptor();
  bool const wait = is_worth_waiting(pipe.get(), error);
  errno = error;
  return wait ? Outcome::kPipeNotReady : Outcome::kNotOpened;
}

Outcome write_line(int log, char const* line, size_t length) {
  struct stat status;
  // Other than a pipe, a terminal that was halted may have taken a part of the line.
  if (fstat(log, &status) == 0 && !S_ISFIFO(status.st_mode)) fcntl(log, F_SETFL, O_APPEND);
  int const error = zeva::write_all(log, {line, length});
  if (error == 0) return Outcome::kWritten;
  bool const wait = is_worth_waiting(log, error);
  errno = error;
  return wait ? Outcome::kPipeNotReady : Outcome::kLost;
}

Outcome append_line(char const* message) {
  time_t now = time(nullptr);
  tm local;
  localtime_r(&now, &local);
  char when[32];
  strftime(when, sizeof when, "%Y/%m/%d %H:%M:%S", &local);

  zeva::Descriptor const log = open_log(O_WRONLY | O_APPEND | O_CREAT);
  if (!log) return not_opened();

  // "%ul" prints the number and a letter l: the log has always looked so. The thread handle is
  // shown by its low 32 bits.
  char header[kHeaderSize];
  snprintf(header, sizeof header, "[%s][pid=%ul][tid=%ul]:", when, static_cast<unsigned>(getpid()),
           static_cast<unsigned>(pthread_self()));

  char line[kHeaderSize + kMessageSize];
  int const length = snprintf(line, sizeof line, "%s%s\n", header, message);
  return write_line(log.get(), line, static_cast<size_t>(length));
}

// A run whose log cannot be opened is silent: whoever started it should know why.
void tell_failure(int error) {
  if (failure_told) return;
  failure_told = true;
  char const* const why =
      error == ELOOP ? "the path holds a link that somebody else has made" : strerrordesc_np(error);
  char line[sizeof log_path + 256];
  int const length = snprintf(
      line, sizeof line, "zeva-migrate: log %s: %s; lines are missing from it\n", log_path, why);
  (void)zeva::write_all(STDERR_FILENO, {line, static_cast<size_t>(length)});
}

}  // namespace

void SetDebugLogFileName(char const* path) {
  strncpy(log_path, path, sizeof log_path - 1);
  log_path[sizeof log_path - 1] = '\0';
  if (stat(".", &starting_folder) != 0) starting_folder = {};
}

void LogDebugMessage(char const* format, ...) {
  char message[kMessageSize];
  Outcome outcome;
  for (;;) {
    {
      SignalsHeld held;
      va_list arguments;
      va_start(arguments, format);
      vsnprintf(message, sizeof message, format, arguments);
      va_end(arguments);
      outcome = append_line(message);
      if (outcome == Outcome::kLost || outcome == Outcome::kNotOpened) tell_failure(errno);
    }
    if (outcome == Outcome::kNotOpened) return;
    if (outcome != Outcome::kPipeNotReady) break;
    usleep(kPipePause);  // signals get through
  }
  // Signals may interrupt the echo: nobody may be reading it.
  size_t echoed = strlen(message);
  message[echoed] = '\n';
  (void)zeva::write_all(STDOUT_FILENO, {message, echoed + 1});
}

void zeva::sync_debug_log() {
  SignalsHeld held;
  zeva::Descriptor const log = open_log(O_WRONLY | O_APPEND);
  if (log) fsync(log.get());
}
