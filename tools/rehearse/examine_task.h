// A task file, examined as the importer of its kind reads it.
#pragma once

#include "references.h"

namespace zeva {

// The file has been read. What its importer does not ask for is left for the caller to report.
// False when no task is made of it.
[[nodiscard]] bool examine_task(ExportReader& file, References& references);

// Reports a path of the registry that is written like one of the file system.
void report_slashes(ExportReader& file, std::string const& section, ExportKey const& key,
                    std::string const& path);

}  // namespace zeva
