// A rehearsal for programs.
#pragma once

#include "outline.h"
#include "rehearsed.h"

#include <iosfwd>

namespace zeva {

// One JSON object on one line, as docs/rehearsal.schema.json describes it. For a terminal it is in
// ASCII. What two rehearsals of the same differ in is in "log" alone, and, when the machine has
// changed, in "target".
void report_json(Rehearsal const& rehearsal, Scope const& scope, bool for_terminal,
                 std::ostream& out);

}  // namespace zeva
