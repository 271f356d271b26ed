// The virus-scan task: its outcomes in the section `classification`, its scan in `setting`.
#include "import_task.h"

using namespace zeva;

namespace {

constexpr ValueRow kClassifications[] = {
    {"Mass_Mailing", VALUE_TEXT},      {"VirusFound_UnSafe", VALUE_TEXT},
    {"Joke_VirusFound", VALUE_TEXT},   {"Uncertain", VALUE_TEXT},
    {"PasswordProtected", VALUE_TEXT}, {"VirusFound_Safe", VALUE_TEXT},
    {"BOT_Virus", VALUE_TEXT},         {"No_Virus", VALUE_TEXT},
};

constexpr ValueRow kSettings[] = {
    {"Zentiscan", VALUE_NUMBER},          {"ScanNorvaExt", VALUE_NUMBER},
    {"ScanUserExcludeExt", VALUE_NUMBER}, {"ScanUserExt", VALUE_NUMBER},
    {"UserExtensions", VALUE_TEXT},       {"UserExcludeExtensions", VALUE_TEXT},
    {"CompressScan", VALUE_NUMBER},       {"ScanLevel", VALUE_NUMBER},
    {"ReplaceWarning", VALUE_NUMBER},     {"ReplaceWarningMsg", VALUE_TEXT},
    {"DoVirusFound", VALUE_NUMBER},       {"DoCleanFailed", VALUE_NUMBER},
    {"VirusAlert", VALUE_TEXT},           {"NoVirusAlert", VALUE_NUMBER},
    {"NoVirusMsg", VALUE_TEXT},           {"SafeStamp", VALUE_NUMBER},
    {"SafeStampMsg", VALUE_TEXT},         {"BOTVirusAction", VALUE_NUMBER},
    {"BOTVirusFeedback", VALUE_NUMBER},   {"BOTVirusScan", VALUE_NUMBER},
    {"SpywareScan", VALUE_NUMBER},
};

bool import_task_virus_classification(NvPoRegistry& reg, _NvPolComHandle* task,
                                      NvConfigFile const& file) {
  return import_section(reg, task, file, "classification", kClassifications, "Classification", 36);
}

bool import_task_virus_setting(NvPoRegistry& reg, _NvPolComHandle* task, NvConfigFile const& file) {
  return import_section(reg, task, file, "setting", kSettings, "setting", 89);
}

}  // namespace

bool import_task_virus(NvPoRegistry& reg, _NvPolComHandle* parent, NvConfigFile& file) {
  TaskHead head;
  if (!head.read(file)) return false;
  RegistryKey task(reg, parent, head.name(), 131);
  return task && head.write(reg, task.get()) &&
         import_task_virus_classification(reg, task.get(), file) &&
         import_task_virus_setting(reg, task.get(), file);
}
