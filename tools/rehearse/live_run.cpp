#include "live_run.h"

#include "printable.h"
#include "terminal.h"

#include <stdio.h>
#include <unistd.h>

#include <algorithm>

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

LongWait::LongWait(std::string what)
    : on_terminal_(takes_commands(STDERR_FILENO)), what_(std::move(what)) {}

void LongWait::begin(std::string const& what) {
  clear();
  what_ = what;
  since_ = steady_clock::now();
}

void LongWait::show() {
  auto const waited = std::chrono::duration_cast<seconds>(steady_clock::now() - since_);
  if (!on_terminal_ || what_.empty() || waited < kShortWait || waited.count() == shown_) return;
  shown_ = waited.count();
  // Of a line that is wrapped only the last row could be taken back.
  std::string line = "  waiting " + std::to_string(shown_) + " s for " + what_;
  line.resize(std::min(line.size(), columns_of(STDERR_FILENO) - 1));
  fprintf(stderr, "\r\033[K%s", line.c_str());
  fflush(stderr);
}

void LongWait::clear() {
  if (shown_ != 0) fputs("\r\033[K", stderr);
  shown_ = 0;
}

LiveRun::~LiveRun() {
  if (!unfinished_.empty()) show(unfinished_);
}

void LiveRun::take(std::string const& piece) {
  if (piece.empty()) wait_.show();
  unfinished_ += piece;
  for (size_t end; (end = unfinished_.find('\n')) != std::string::npos;) {
    show(unfinished_.substr(0, end));
    unfinished_.erase(0, end + 1);
  }
}

void LiveRun::show(std::string const& line) {
  wait_.clear();
  if (shown_) {
    bool const continues = line.starts_with('\t');
    fprintf(stderr, "  %s%s\n", continues ? "  " : "",
            printable(shown_(line.substr(continues ? 1 : 0))).c_str());
  }
  wait_.begin(wait_after(line));
}

}  // namespace zeva
