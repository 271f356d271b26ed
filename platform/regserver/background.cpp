#include "background.h"

#include "files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string_view>

namespace zeva {

namespace {

constexpr char kReady = '\0';  // after it there is no report any more

void use_null(int fd) {
  Descriptor null(open("/dev/null", O_RDWR));
  if (null.get() == fd)
    null.release();  // it has taken that place itself
  else if (null)
    dup2(null.get(), fd);
}

[[noreturn]] void wait_for_child(int reports) {
  char buffer[4096];
  while (true) {
    ssize_t got = read(reports, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) _exit(EXIT_FAILURE);
    std::string_view text(buffer, static_cast<size_t>(got));
    bool ready = text.back() == kReady;
    if (ready) text.remove_suffix(1);
    (void)write_all(STDERR_FILENO, text);
    if (ready) _exit(EXIT_SUCCESS);
  }
}

[[noreturn]] void fail(char const* what) {
  perror(what);
  exit(EXIT_FAILURE);
}

}  // namespace

void go_to_background() {
  // The lowest three may be closed; the pipe must not take their places.
  for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(fd, F_GETFD) < 0) use_null(fd);
  int reports[2];  // nobody's: one process never returns, the other one closes all that it has
  if (pipe(reports) != 0) fail("regserver: pipe");
  pid_t child = fork();
  if (child < 0) fail("regserver: fork");
  if (child > 0) {
    close(reports[1]);
    wait_for_child(reports[0]);
  }
  setsid();
  use_null(STDIN_FILENO);
  use_null(STDOUT_FILENO);
  dup2(reports[1], STDERR_FILENO);
  closefrom(STDERR_FILENO + 1);
}

void background_ready() {
  (void)write_all(STDERR_FILENO, std::string_view(&kReady, 1));
  use_null(STDERR_FILENO);
}

}  // namespace zeva
