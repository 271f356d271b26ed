// A rehearsal for programs.
#pragma once

#include "outline.h"
#include "rehearsed.h"

#include <iosfwd>
#include <vector>

namespace zeva {

// One JSON object on one line, as docs/rehearsal.schema.json describes it. For a terminal it is in
// ASCII. What two rehearsals of the same differ in is in "log" alone, and, when the machine has
// changed, in "target".
void report_json(Rehearsal const& rehearsal, Outline const& outline, Scope const& scope,
                 bool for_terminal, std::ostream& out);

// The same of what an examination alone has found.
void report_findings_json(std::vector<Finding> const& findings, bool for_terminal,
                          std::ostream& out);

}  // namespace zeva
