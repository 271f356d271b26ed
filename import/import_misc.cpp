#include "export_file.h"
#include "importers.h"
#include "package_names.h"
#include "steps.h"

#include <string>

using namespace zeva;

namespace {

// Carries over the value that one section of the file describes.
bool import_value(NvConfigFile const& file, NvPoRegistry& registry, std::string const& section) {
  std::string path, name;
  _tag_MAP_ITEM const place[] = {
      {section, "KeyName", VALUE_TEXT, &path},
      {section, "ValueName", VALUE_TEXT, &name},
  };
  if (!read_rows(file, place)) return false;
  tag_VALUE_TYPE const type = get_data_type(file, section, "Value");
  if (type == 0) return false;

  RegistryKey key(registry, path, 63);
  if (!key) return false;
  long number = 0;
  std::string text;
  void* const value = type == VALUE_NUMBER ? static_cast<void*>(&number) : &text;
  return read_data(file, section, "Value", type, value, false) &&
         write_data(registry, key.get(), name, type, value);
}

}  // namespace

int import_misc(char const* dir, char const* regfile) {
  NvConfigFile file;
  if (!read_export_file(file, dir, kSingleValueFile, 23)) return kSingleValuesFailed;
  NvPoRegistry registry(regfile);
  int sections = 0;
  if (!read_number(file, "common", "SectionNum", sections)) return kSingleValuesFailed;
  for (int i = 0; i < sections; ++i) {
    if (!import_value(file, registry, numbered("Section", i + 1))) return kSingleValuesFailed;
  }
  return 0;
}
