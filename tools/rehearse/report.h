// What a rehearsal has found, for a person or for a program.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "changes.h"
#include "finding.h"
#include "witnessed_log.h"

namespace zeva {

struct Rehearsal {
  bool had_store = false;     // else it began with the factory's
  std::optional<int> result;  // the run's code; none when it did not come to its end
  std::vector<LogLine> log;
  std::vector<KeyChange> changes;
  std::vector<Finding> findings;
  std::vector<std::string> notes;  // what could not be looked at, and why
};

// In words, what a result code means.
[[nodiscard]] std::string describe_result(int code);

// Plain text, in colours for a terminal. No line holds anything but visible characters.
[[nodiscard]] std::string report_text(Rehearsal const& rehearsal, bool in_colour);

// One JSON object on one line; zeva-rehearse(1) describes it.
[[nodiscard]] std::string report_json(Rehearsal const& rehearsal);

}  // namespace zeva
