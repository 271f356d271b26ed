#include "import_config.h"

#include "export_file.h"
#include "importers.h"
#include "package_names.h"
#include "runlog.h"
#include "steps.h"

#include <string>
#include <vector>

using namespace zeva;

namespace {

char const kConfigKey[] = "registry\\config";
char const kScanLimitKey[] = "registry\\config\\FilterManager\\0001\\0001";
char const kFrontScanLimitKey[] = "registry\\config\\FilterManager\\0002";
char const kQuarantineKey[] = "registry\\config\\Classification\\0001\\0003\\QuarantineArea";

// Where this installation keeps quarantined mail, wherever the old one did.
char const kQuarantineFolder[] = "/opt/norva/zeva/queue/quarantine";

// Reads the rows and stores them under `path`. `code` is that of the key's opening.
template <int N>
bool copy_rows(NvConfigFile const& file, char const* regfile, char const* path,
               _tag_MAP_ITEM const (&rows)[N], int code) {
  if (!read_rows(file, rows)) return false;
  NvPoRegistry registry(regfile);
  RegistryKey key(registry, path, code);
  return key && write_rows(registry, key.get(), rows);
}

// Empties the key of the quarantine areas.
bool remove_areas(NvPoRegistry& registry) {
  std::vector<std::string> areas;
  if (registry.nvgetallentryname(kQuarantineKey, areas) == -1) log_error(26, registry.geterror());
  RegistryKey key(registry, kQuarantineKey, 35);
  return key && delete_keys(registry, key.get(), areas, "Error", 44);
}

bool import_area(NvConfigFile const& file, NvPoRegistry& registry, int number) {
  std::string const section = numbered("area", number);
  std::string name, shown_name, path;
  long days = 0, days_checked = 0;
  _tag_MAP_ITEM const rows[] = {
      {section, "AreaName", VALUE_TEXT, &name},
      {section, "DisplayName", VALUE_TEXT, &shown_name},
      {section, "Path", VALUE_TEXT, &path},
      {section, "KeepDate", VALUE_NUMBER, &days},
      {section, "KeepDateChecked", VALUE_NUMBER, &days_checked},
  };
  if (!read_rows(file, rows)) return false;
  RegistryKey key(registry, std::string(kQuarantineKey) + "\\" + name, 78);
  if (!key) return false;
  if (path != kQuarantineFolder) {
    path = kQuarantineFolder;
    // The last line has always shown the new path, not the exported one.
    LogDebugMessage(
        "Warning: change quarantine area path to /opt/norva/zeva/queue/quarantine\n"
        "\tquarantine area: %s\n\toriginal path: %s\n",
        shown_name.c_str(), path.c_str());
  }
  return write_rows(registry, key.get(), rows);
}

}  // namespace

int import_exception_handling(char const* dir, char const* regfile) {
  NvConfigFile file;
  if (!read_export_file(file, dir, kExceptionFile, 122)) return kExceptionHandlingFailed;
  std::string failed_mail, encrypted_mail;
  _tag_MAP_ITEM const rows[] = {
      {"common", "ProcessErrorCls", VALUE_TEXT, &failed_mail},
      {"common", "EncryptedMessageCls", VALUE_TEXT, &encrypted_mail},
  };
  return copy_rows(file, regfile, kConfigKey, rows, 137) ? 0 : kExceptionHandlingFailed;
}

int import_scan_limit(char const* dir, char const* regfile) {
  NvConfigFile file;
  if (!read_export_file(file, dir, kScanLimitFile, 162)) return kScanLimitsFailed;
  long viruses = 0, entities = 0, archives = 0, depth = 0, unpacked = 0, scanned = 0, layers = 0;
  long front = 0;
  _tag_MAP_ITEM const limits[] = {
      {"common", "MaxVirusCount", VALUE_NUMBER, &viruses},
      {"common", "MaxEntityCount", VALUE_NUMBER, &entities},
      {"common", "MaxDecompressCount", VALUE_NUMBER, &archives},
      {"common", "MaxDecompressDepth", VALUE_NUMBER, &depth},
      {"common", "MaxDecompressSize", VALUE_NUMBER, &unpacked},
      {"common", "MaxScanSize", VALUE_NUMBER, &scanned},
      {"common", "MultipleCleanLayer", VALUE_NUMBER, &layers},
  };
  _tag_MAP_ITEM const front_limit[] = {
      {"common", "uiMaxFrontScanSize", VALUE_NUMBER, &front},
  };
  return copy_rows(file, regfile, kScanLimitKey, limits, 182) &&
                 copy_rows(file, regfile, kFrontScanLimitKey, front_limit, 204)
             ? 0
             : kScanLimitsFailed;
}

int import_quarantine(char const* dir, char const* regfile) {
  NvPoRegistry registry(regfile);
  if (!remove_areas(registry)) return kQuarantineAreasFailed;
  NvConfigFile file;
  if (!read_export_file(file, dir, kQuarantineFile, 55)) return kQuarantineAreasFailed;
  int areas = 0;
  if (!read_number(file, "common", "FileNum", areas)) return kQuarantineAreasFailed;
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
