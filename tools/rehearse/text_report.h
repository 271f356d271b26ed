// A rehearsal for a person to read, the most important first. No line holds anything but visible
// characters.
#pragma once

#include "outline.h"
#include "rehearsed.h"

#include <iosfwd>
#include <vector>

namespace zeva {

struct TextStyle {
  enum class Detail { kSummary, kNames, kValues };  // of the changes: none, the keys, all

  Detail detail = Detail::kValues;
  bool in_colour = false;
};

// Plain text, in colours for a terminal.
void report_text(Rehearsal const& rehearsal, Outline const& outline, Scope const& scope,
                 TextStyle const& style, std::ostream& out);

// What an examination alone has found.
void report_findings_text(std::vector<Finding> const& findings, std::ostream& out);

}  // namespace zeva
