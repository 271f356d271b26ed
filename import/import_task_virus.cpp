// The virus-scan task: its outcomes in the section `classification`, its scan in `setting`.
#include "import_task.h"

using namespace zeva;

namespace {

bool import_task_virus_classification(NvPoRegistry& reg, _NvPolComHandle* task,
                                      NvConfigFile const& file) {
  return import_section(reg, task, file, kVirusClasses, 36);
}

bool import_task_virus_setting(NvPoRegistry& reg, _NvPolComHandle* task, NvConfigFile const& file) {
  return import_section(reg, task, file, kVirusSettings, 89);
}

}  // namespace

bool import_task_virus(NvPoRegistry& reg, _NvPolComHandle* parent, NvConfigFile& file) {
  ValueTable head(kTaskHead);
  if (!head.read(file)) return false;
  RegistryKey task(reg, parent, head.text(kTaskName), 131);
  return task && head.write(reg, task.get()) &&
         import_task_virus_classification(reg, task.get(), file) &&
         import_task_virus_setting(reg, task.get(), file);
}
