// The one door through which files of a settings package are opened.
//
// A package comes from outside, and its policies name further files. So a file counts as readable
// only when it is a regular file that is reached from the export folder without a link and without
// "..": anything else could make the gateway's own files part of the policy, or block the run.
#pragma once

#include <string>

namespace zeva {

// Opens the file at `path`, which must begin with `folder` and a slash, for reading. Doubled
// slashes and "." count for nothing. Returns a descriptor that the caller closes, or -1 when the
// file is missing, unreadable, or not one to be trusted. Never blocks, and opens no device.
[[nodiscard]] int open_export_file(std::string const& folder, std::string const& path);

}  // namespace zeva
