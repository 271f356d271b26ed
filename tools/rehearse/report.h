// What a rehearsal has found, for a person or for a program.
#pragma once

#include "changes.h"
#include "finding.h"
#include "witnessed_log.h"

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zeva {

struct Rehearsal {
  bool had_store = false;     // else it began with the factory's
  std::optional<int> result;  // the run's code; none when it did not come to its end
  std::vector<LogLine> log;
  std::unique_ptr<Key> before;  // the store; null when either cannot be compared
  std::unique_ptr<Key> after;
  std::vector<Finding> findings;
  std::string not_examined;        // why the package could not be looked at
  std::vector<std::string> notes;  // what could not be looked at, and why
};

// In words, what a result code means.
[[nodiscard]] std::string describe_result(int code);

// Plain text, in colours for a terminal. No line holds anything but visible characters.
void report_text(Rehearsal const& rehearsal, bool in_colour, std::ostream& out);

// One JSON object on one line; zeva-rehearse(1) describes it. For a terminal it is in ASCII.
void report_json(Rehearsal const& rehearsal, bool for_terminal, std::ostream& out);

}  // namespace zeva
