// The one door through which files of a settings package are opened.
//
// A package comes from outside, and its policies name further files. So a file counts as readable
// only when it is a regular file that is reached from the export folder without a link and without
// "..": anything else could make the gateway's own files part of the policy, or block the run.
#pragma once

#include "nvconfigfile.h"

#include <sys/types.h>

#include <string>

namespace zeva {

// What a file is, under whatever name it was reached.
struct FileIdentity {
  dev_t device = 0;
  ino_t number = 0;

  bool operator==(FileIdentity const&) const = default;
};

// Opens the file at `path`, which must begin with `folder` and a slash, for reading. Doubled
// slashes and "." count for nothing. Returns a descriptor that the caller closes, or -1 when the
// file is missing, unreadable, or not one to be trusted. Never blocks, and opens no device.
[[nodiscard]] int open_export_file(std::string const& folder, std::string const& path);

// Reads the file at `path`, opened as above, and names `file` after the path. When it cannot be
// read, that is logged under `code`. `identity`, when given, receives what was read.
[[nodiscard]] bool read_export_file(NvConfigFile& file, std::string const& folder,
                                    std::string const& path, int code,
                                    FileIdentity* identity = nullptr);

// The line of a file that cannot be read: "Error [code]: read PATH failed."
void log_unreadable(int code, std::string const& path);

}  // namespace zeva
