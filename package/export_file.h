// The one door through which importers and rehearsal open the files of a settings package. (What
// md5sum will open of its list is judged before, in driver/package_guard.h.)
//
// A package comes from outside, and its policies name further files. So a file counts as readable
// only when it is a regular file that is reached from the export folder without a link and without
// "..": anything else could make the gateway's own files part of the policy, or block the run.
#pragma once

#include "descriptor.h"
#include "nvconfigfile.h"

#include <sys/types.h>

#include <optional>
#include <string>

namespace zeva {

// What a file is, under whatever name it was reached.
struct FileIdentity {
  dev_t device = 0;
  ino_t number = 0;

  bool operator==(FileIdentity const&) const = default;
};

// Opens the file `name` of the package in `folder` for reading. Doubled slashes and "." count for
// nothing. None when the file is missing, unreadable, or not one to be trusted. Never blocks, and
// opens no device.
[[nodiscard]] Descriptor open_export_file(std::string const& folder, std::string const& name);

// Whether the package has nothing under that name at its top. What cannot be looked at is there.
[[nodiscard]] bool lacks_export_file(std::string const& folder, std::string const& name);

// What an open file is; none when it cannot be told.
[[nodiscard]] std::optional<FileIdentity> identity_of(Descriptor const& file);

// Reads the file `name`, opened as above, and names `file` after its path. When it cannot be read,
// that is logged under `code`. `identity`, when given, receives what was read.
[[nodiscard]] bool read_export_file(NvConfigFile& file, std::string const& folder,
                                    std::string const& name, int code,
                                    FileIdentity* identity = nullptr);

// The line of a file that cannot be read: "Error [code]: read PATH failed."
void log_unreadable(int code, std::string const& folder, std::string const& name);

}  // namespace zeva
