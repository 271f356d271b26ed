// The importers: each carries one part of an unpacked settings package into the policy store.
//
//   dir      the folder the package was unpacked into; an importer's files lie directly below it
//   regfile  the registry server's address, "ZEVA:" and its port
//
// Each returns 0 to let the migration go on, or the code of results.h that ends it. What it has
// changed by then stays changed: putting the store back is the migration's matter. Why something
// failed or was left out is in the run log. The watchdog may jump out of an importer at any
// instruction: none of them leaves anything behind that is needed whole afterwards.
#pragma once

#include "results.h"

// Replaces all classifications and their actions. 0 or -11.
[[nodiscard]] int import_filter_action(char const* dir, char const* regfile);

// Exception handling, scan limits and quarantine areas, in this order. 0, or the code of the first
// that fails: -13, -14 or -12.
[[nodiscard]] int import_config(char const* dir, char const* regfile);

// Replaces the policy tree with its tasks and the global black and white lists. Always 0: a branch
// that cannot be read is left out.
[[nodiscard]] int import_policy(char const* dir, char const* regfile);

// Replaces the extra filters. Always 0.
[[nodiscard]] int import_xfilter(char const* dir, char const* regfile);

// Replaces all address lists. 0, -8, or -11 when an old list cannot be removed.
[[nodiscard]] int import_addr_list(char const* dir, char const* regfile);

// Single registry values that the export itself names. 0 or -15.
[[nodiscard]] int import_misc(char const* dir, char const* regfile);
