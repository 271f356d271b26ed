// Shows a run while it goes on: its lines as they come, and on a terminal what a long wait is for.
#pragma once

#include <chrono>
#include <string>

namespace zeva {

class LiveRun {
 public:
  // With show_lines, the lines go to standard output; without, nothing does. What is waited for
  // goes to standard error if that is a terminal.
  explicit LiveRun(bool show_lines);
  ~LiveRun();
  LiveRun(LiveRun const&) = delete;
  LiveRun& operator=(LiveRun const&) = delete;

  // A piece of the run's output; an empty one only lets time pass.
  void take(std::string const& piece);

 private:
  void show(std::string const& line);
  void show_wait();
  void clear_wait();

  bool const show_lines_;
  bool const show_waits_;
  bool wait_is_shown_ = false;
  std::string unfinished_;  // line
  std::string waiting_for_;
  std::chrono::steady_clock::time_point since_ = std::chrono::steady_clock::now();
};

}  // namespace zeva
