// A rehearsal as a page to send round.
#pragma once

#include "outline.h"
#include "rehearsed.h"

#include <string>

namespace zeva {

// One HTML page without a script, which asks for nothing beside it and whose content policy forbids
// both. Names and values are visible characters only, as in the text. Which elements there are
// depends on what there is, never on what it says.
[[nodiscard]] std::string report_html(Rehearsal const& rehearsal, Outline const& outline,
                                      Scope const& scope);

}  // namespace zeva
