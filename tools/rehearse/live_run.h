// Shows a rehearsal while it goes on: the lines of its run as they come, and on a terminal what a
// long wait is for.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>

namespace zeva {

// What is waited for and since when, on standard error if that is a terminal.
class LongWait {
 public:
  // An empty one is not shown.
  explicit LongWait(std::string what = "");
  ~LongWait() { clear(); }
  LongWait(LongWait const&) = delete;
  LongWait& operator=(LongWait const&) = delete;

  // The wait is over, and the next one begins.
  void begin(std::string const& what);
  // To be called now and then.
  void show();
  void clear();

 private:
  bool const on_terminal_;
  std::string what_;
  std::chrono::steady_clock::time_point since_ = std::chrono::steady_clock::now();
  long long shown_ = 0;  // seconds; 0 when nothing is shown
};

// What is shown of a line.
using LineFilter = std::function<std::string(std::string const&)>;

class LiveRun {
 public:
  // The lines go to standard error, as the filter gives them; without one they are not shown.
  explicit LiveRun(LineFilter shown) : shown_(std::move(shown)) {}
  ~LiveRun();
  LiveRun(LiveRun const&) = delete;
  LiveRun& operator=(LiveRun const&) = delete;

  // A piece of the run's output; an empty one only lets time pass.
  void take(std::string const& piece);

 private:
  void show(std::string const& line);

  LineFilter const shown_;
  std::string unfinished_;  // line
  LongWait wait_;
};

}  // namespace zeva
