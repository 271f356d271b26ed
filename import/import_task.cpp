#include "import_task.h"

#include "export_file.h"
#include "runlog.h"

#include <algorithm>
#include <iterator>

using namespace zeva;

void import_task(std::string const& exportDir, NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                 std::string const& taskFile, std::string const& policyPath) {
  NvConfigFile config;
  if (!read_export_file(config, exportDir, taskFile, 83)) return;
  int filter = 0;
  if (!read_number(config, kCommon, kTaskFilter, filter)) return;
  auto const kind = std::ranges::find(kTaskKinds, filter, &TaskKind::filter);
  if (kind == std::end(kTaskKinds)) {
    LogDebugMessage("Error [%d]: unknown filter %d", 122, filter);
    return;
  }
  // An importer that fails has said why.
  (void)(filter == kSpamTask ? import_task_spx(registry, tasksKey, config, policyPath)
                             : kind->import(registry, tasksKey, config));
}
