#include "steps.h"

#include "runlog.h"

namespace zeva {

void log_error(int code, std::string const& text) {
  LogDebugMessage("Error [%d]: %s", code, text.c_str());
}

RegistryKey::RegistryKey(NvPoRegistry& registry, std::string const& path, int code)
    : OpenKey(registry, path) {
  if (!*this) log_error(code, registry.geterror());
}

RegistryKey::RegistryKey(NvPoRegistry& registry, _NvPolComHandle* parent, std::string const& path,
                         int code)
    : OpenKey(registry, parent, path) {
  if (!*this) log_error(code, registry.geterror());
}

bool delete_keys(NvPoRegistry& registry, _NvPolComHandle* key,
                 std::vector<std::string> const& names, char const* what, int code) {
  for (std::string const& name : names) {
    if (registry.nvregdeletekey(key, name) == -1) {
      LogDebugMessage("%s [%d]: %s", what, code, registry.geterror().c_str());
      return false;
    }
  }
  return true;
}

bool read_number(NvConfigFile const& file, std::string const& section, ExportKey const& key,
                 int& number) {
  long value = 0;
  if (!read_data(file, section, key.name, VALUE_NUMBER, &value, false)) return false;
  number = static_cast<int>(value);
  return true;
}

bool copy_value(NvPoRegistry& registry, _NvPolComHandle* key, std::string const& name,
                NvConfigFile const& file, ExportValue const& value) {
  long number = 0;
  std::string text;
  void* const data = value.type == VALUE_NUMBER ? static_cast<void*>(&number) : &text;
  return read_data(file, value.section, value.key, value.type, data, false) &&
         write_data(registry, key, name, value.type, data);
}

}  // namespace zeva
