// A task file, examined as the importer of its kind reads it.
#pragma once

#include "export_reader.h"

namespace zeva {

// The file has been read. What its importer does not ask for is left for the caller to report.
void examine_task(ExportReader& file);

}  // namespace zeva
