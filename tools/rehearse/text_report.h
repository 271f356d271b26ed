// A rehearsal for a person to read, the most important first.
#pragma once

#include "outline.h"
#include "rehearsed.h"

#include <iosfwd>

namespace zeva {

struct TextStyle {
  enum class Detail { kSummary, kNames, kValues };  // of the changes: none, the keys, all

  Detail detail = Detail::kValues;
  bool in_colour = false;
};

// Plain text, in colours for a terminal. No line holds anything but visible characters.
void report_text(Rehearsal const& rehearsal, Scope const& scope, TextStyle const& style,
                 std::ostream& out);

}  // namespace zeva
