#include "runlog.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <initializer_list>

namespace {

constexpr size_t kMessageSize = 2048;

char log_path[1024] = "migration.log";

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

// A log that cannot take the line (disk full, closed pipe) must not stop the migration.
void write_all(int fd, char const* data, size_t length) {
  while (length > 0) {
    ssize_t written = write(fd, data, length);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    data += written;
    length -= static_cast<size_t>(written);
  }
}

// Puts a line into the file; false when it cannot be opened. The run's working folder becomes the
// package's: a relative path must not lead through a link of the package, nor wait at a pipe of it.
bool append_line(char const* message) {
  time_t now = time(nullptr);
  tm local;
  localtime_r(&now, &local);
  char when[32];
  strftime(when, sizeof when, "%Y/%m/%d %H:%M:%S", &local);

  int relative = log_path[0] == '/' ? 0 : O_NOFOLLOW;
  int log = open(
      log_path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | relative, 0666);
  if (log < 0) return false;

  // "%ul" prints the number and a letter l: the log has always looked so. The thread handle is
  // shown by its low 32 bits.
  char header[100];
  snprintf(header, sizeof header, "[%s][pid=%ul][tid=%ul]:", when, static_cast<unsigned>(getpid()),
           static_cast<unsigned>(pthread_self()));

  char line[sizeof header + kMessageSize];
  int length = snprintf(line, sizeof line, "%s%s\n", header, message);
  write_all(log, line, static_cast<size_t>(length));
  close(log);
  return true;
}

}  // namespace

void SetDebugLogFileName(char const* path) {
  strncpy(log_path, path, sizeof log_path - 1);
  log_path[sizeof log_path - 1] = '\0';
}

void LogDebugMessage(char const* format, ...) {
  char message[kMessageSize];
  {
    SignalsHeld held;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (!append_line(message)) return;
  }
  // Signals may interrupt the echo: nobody may be reading it.
  size_t echoed = strlen(message);
  message[echoed] = '\n';
  write_all(STDOUT_FILENO, message, echoed + 1);
}
