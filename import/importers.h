// The importers: each carries one part of an unpacked settings package into the policy store.
//
//   dir      the folder the package was unpacked into; an importer's files lie directly below it
//   regfile  the registry server's address, "ZEVA:" and its port
//
// Each returns 0 to let the migration go on, or the code of results.h that ends it. What it has
// changed by then stays changed: putting the store back is the migration's matter. Why something
// failed or was left out is in the run log. The watchdog may jump out of an importer at any
// instruction: none of them leaves anything behind that is needed whole afterwards.
//
// Below an importer stand its steps that other programs know by their names.
#pragma once

#include "results.h"

#include <string>

class NvAddresslist;
class NvConfigFile;
class NvPoRegistry;
struct _NvPolComHandle;

// Replaces all classifications and their actions. 0 or -11.
[[nodiscard]] int import_filter_action(char const* dir, char const* regfile);

// Exception handling, scan limits and quarantine areas, in this order. 0, or the code of the first
// that fails: -13, -14 or -12.
[[nodiscard]] int import_config(char const* dir, char const* regfile);

// Its steps. Each is one export file and, failing, leaves what it has written: the classifications
// of mail that cannot be processed, 0 or -13; the limits of scanning, 0 or -14; the quarantine
// areas, which it replaces, 0 or -12.
[[nodiscard]] int import_exception_handling(char const* dir, char const* regfile);
[[nodiscard]] int import_scan_limit(char const* dir, char const* regfile);
[[nodiscard]] int import_quarantine(char const* dir, char const* regfile);

// Replaces the policy tree with its tasks and the global black and white lists. Always 0: a branch
// that cannot be read is left out.
[[nodiscard]] int import_policy(char const* dir, char const* regfile);

// Replaces the extra filters. Always 0.
[[nodiscard]] int import_xfilter(char const* dir, char const* regfile);

// Writes the extra filters of a file that has been read below the open key `xfilter`: named lists
// of text patterns, each with the part of a message it looks at. What cannot be read or stored is
// logged and left out: a filter whose own settings are incomplete, or a single pattern. Without
// `enable` and `filterNum` no filter is written.
void import_xfilter_imp(NvPoRegistry& registry, _NvPolComHandle* xfilter, NvConfigFile const& file);

// Replaces all address lists. 0, -8, or -11 when an old list cannot be removed.
[[nodiscard]] int import_addr_list(char const* dir, char const* regfile);

// Creates the empty address list `name`; the display name is cut at 256 bytes, the comment at 512.
// False when it cannot be created, after logging why.
[[nodiscard]] bool add_addr_group(NvAddresslist& list, std::string const& name,
                                  std::string const& displayName, std::string const& comment);

// Single registry values that the export itself names. 0 or -15.
[[nodiscard]] int import_misc(char const* dir, char const* regfile);
