// Waiting for the other side of a connection, which answers within microseconds when it has a
// processor: to look for its bytes again and again is cheaper than to sleep and be woken. When it
// has none, because there is but one or the machine is busy, looking only keeps it from running; so
// what was in vain is left out for a while, each time for twice as long, and less where it helps.
//
// No clock ends it, but the number of looks: a clock may be set, and costs as much as a look. Nor
// is the processor offered to others between two looks: on a busy machine they would keep it for
// milliseconds.
#pragma once

#include <algorithm>

namespace zeva {

class Polling {
 public:
  // Calls `look` until it returns true. False when there was no look or all were in vain: sleep.
  template <class Look>
  [[nodiscard]] bool poll(Look look) {
    if (left_out_ > 0) {
      --left_out_;
      return false;
    }
    if (look()) return true;
    for (int i = 1; i < kLooks; ++i) {
      if (!look()) continue;
      leave_out_next_ = std::max(leave_out_next_ / 2, 1);
      return true;
    }
    left_out_ = leave_out_next_;
    leave_out_next_ = std::min(leave_out_next_ * 2, kMostLeftOut);
    return false;
  }

 private:
  static constexpr int kLooks = 128;  // of a system call each: about 50 microseconds
  static constexpr int kMostLeftOut = 1024;

  int left_out_ = 0;
  int leave_out_next_ = 1;
};

}  // namespace zeva
