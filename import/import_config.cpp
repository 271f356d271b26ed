#include "config_keys.h"
#include "export_file.h"
#include "importers.h"
#include "package_names.h"
#include "runlog.h"
#include "value_table.h"

#include <string>
#include <vector>

using namespace zeva;

namespace {

// Copies a section of the file into its key. `code` is that of the key's opening.
bool copy_section(NvConfigFile const& file, char const* regfile, ExportSection const& section,
                  int code) {
  ValueTable values(section);
  if (!values.read(file)) return false;
  NvPoRegistry registry(regfile);
  RegistryKey key(registry, section.stored_in, code);
  return key && values.write(registry, key.get());
}

// Empties the key of the quarantine areas.
bool remove_areas(NvPoRegistry& registry) {
  std::vector<std::string> areas;
  if (registry.nvgetallentryname(kArea.stored_in, areas) == -1) log_error(26, registry.geterror());
  RegistryKey key(registry, kArea.stored_in, 35);
  return key && delete_keys(registry, key.get(), areas, "Error", 44);
}

bool import_area(NvConfigFile const& file, NvPoRegistry& registry, int number) {
  ValueTable values(numbered(kArea.name, number), kArea.keys);
  if (!values.read(file)) return false;
  RegistryKey key(registry, kArea.stored_in + ("\\" + values.text(kAreaName)), 78);
  if (!key) return false;
  std::string& path = values.text(kAreaPath);
  if (path != kQuarantineFolder) {
    path = kQuarantineFolder;
    // The last line has always shown the new path, not the exported one.
    LogDebugMessage(
        "Warning: change quarantine area path to /opt/norva/zeva/queue/quarantine\n"
        "\tquarantine area: %s\n\toriginal path: %s\n",
        values.text(kAreaShownName).c_str(), path.c_str());
  }
  return values.write(registry, key.get());
}

}  // namespace

int import_exception_handling(char const* dir, char const* regfile) {
  NvConfigFile file;
  return read_export_file(file, dir, kExceptionFile, 122) &&
                 copy_section(file, regfile, kExceptions, 137)
             ? 0
             : kExceptionHandlingFailed;
}

int import_scan_limit(char const* dir, char const* regfile) {
  NvConfigFile file;
  return read_export_file(file, dir, kScanLimitFile, 162) &&
                 copy_section(file, regfile, kScanLimits, 182) &&
                 copy_section(file, regfile, kFrontScanLimits, 204)
             ? 0
             : kScanLimitsFailed;
}

int import_quarantine(char const* dir, char const* regfile) {
  NvPoRegistry registry(regfile);
  if (!remove_areas(registry)) return kQuarantineAreasFailed;
  NvConfigFile file;
  if (!read_export_file(file, dir, kQuarantineFile, 55)) return kQuarantineAreasFailed;
  int areas = 0;
  if (!read_number(file, kCommon, kAreaCount, areas)) return kQuarantineAreasFailed;
  for (int i = 0; i < areas; ++i) {
    if (!import_area(file, registry, i + 1)) return kQuarantineAreasFailed;
  }
  return 0;
}

int import_config(char const* dir, char const* regfile) {
  for (auto step : {import_exception_handling, import_scan_limit, import_quarantine}) {
    if (int const result = step(dir, regfile); result != 0) return result;
  }
  return 0;
}
