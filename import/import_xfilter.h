// The extra filters of an export: named lists of text patterns, each with the part of a message it
// looks at.
#pragma once

#include "nvconfigfile.h"
#include "nvporegistry.h"

// Writes the filters of a file that has been read below the open key `xfilter`. What cannot be read
// or stored is logged and left out: a filter whose own settings are incomplete, or a single
// pattern. Without `enable` and `filterNum` no filter is written.
void import_xfilter_imp(NvPoRegistry& registry, _NvPolComHandle* xfilter, NvConfigFile const& file);
