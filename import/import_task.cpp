#include "import_task.h"

#include "export_file.h"
#include "runlog.h"

#include <algorithm>
#include <iterator>

using namespace zeva;

namespace {

constexpr int kAntiSpamFilter = 0x30001;

// The kinds of task by the number `filter`, but for the anti-spam task, whose importer alone needs
// the policy's path.
struct TaskKind {
  int filter;
  bool (*import)(NvPoRegistry&, _NvPolComHandle*, NvConfigFile&);
};
constexpr TaskKind kTaskKinds[] = {
    {0x10001, import_task_virus},           {0x20001, import_task_cflt_adv},
    {0x20002, import_task_cflt_attachment}, {0x20003, import_task_cflt_general},
    {0x20004, import_task_cflt_size},       {0x20005, import_task_cflt_disclaimer},
    {0x20006, import_task_old_anti_spam},
};

}  // namespace

void import_task(std::string const& exportDir, NvPoRegistry& registry, _NvPolComHandle* tasksKey,
                 std::string const& taskFile, std::string const& policyPath) {
  NvConfigFile config;
  if (!read_export_file(config, exportDir, taskFile, 83)) return;
  int filter = 0;
  if (!read_number(config, "common", "filter", filter)) return;

  // An importer that fails has said why.
  if (filter == kAntiSpamFilter) {
    (void)import_task_spx(registry, tasksKey, config, policyPath);
    return;
  }
  auto const kind = std::ranges::find(kTaskKinds, filter, &TaskKind::filter);
  if (kind == std::end(kTaskKinds)) {
    LogDebugMessage("Error [%d]: unknown filter %d", 122, filter);
    return;
  }
  (void)kind->import(registry, tasksKey, config);
}

namespace zeva {

bool TaskHead::read(NvConfigFile const& file) {
  return read_data(file, "common", "name", VALUE_TEXT, &name_, false) && values_.read(file);
}

bool TaskHead::write(NvPoRegistry& registry, _NvPolComHandle* task) {
  return values_.write(registry, task);
}

}  // namespace zeva
