#include "live_run.h"

#include <stdio.h>
#include <unistd.h>

#include "printable.h"

namespace zeva {
namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds kShortWait{2};  // not worth a word

// What takes its time after a line of the run.
struct Wait {
  char const* line_begins;
  char const* what;
};
constexpr Wait kWaits[] = {
    {"RegServer is not running", "the registry server to start (10 s or more)"},
    {"Stop regserver", "the registry server to stop"},
    {"Import address groups", "the address groups, one second each"},
};

std::string wait_after(std::string const& line) {
  for (Wait const& wait : kWaits) {
    if (line.starts_with(wait.line_begins)) return wait.what;
  }
  return "this step";
}

}  // namespace

LiveRun::LiveRun(bool show_lines)
    : show_lines_(show_lines), show_waits_(isatty(STDERR_FILENO) == 1) {}

LiveRun::~LiveRun() {
  if (!unfinished_.empty()) show(unfinished_);
  clear_wait();
}

void LiveRun::take(std::string const& piece) {
  if (piece.empty()) show_wait();
  unfinished_ += piece;
  for (size_t end; (end = unfinished_.find('\n')) != std::string::npos;) {
    show(unfinished_.substr(0, end));
    unfinished_.erase(0, end + 1);
  }
}

void LiveRun::show(std::string const& line) {
  clear_wait();
  if (show_lines_) {
    bool const continues = line.starts_with('\t');
    printf("  %s%s\n", continues ? "  " : "", printable(line.substr(continues ? 1 : 0)).c_str());
    fflush(stdout);
  }
  since_ = steady_clock::now();
  waiting_for_ = wait_after(line);
}

void LiveRun::show_wait() {
  auto const waited = std::chrono::duration_cast<seconds>(steady_clock::now() - since_);
  if (!show_waits_ || waiting_for_.empty() || waited < kShortWait) return;
  fprintf(stderr, "\r\033[K  waiting for %s: %lld s", waiting_for_.c_str(),
          static_cast<long long>(waited.count()));
  fflush(stderr);
  wait_is_shown_ = true;
}

void LiveRun::clear_wait() {
  if (wait_is_shown_) fputs("\r\033[K", stderr);
  wait_is_shown_ = false;
}

}  // namespace zeva
