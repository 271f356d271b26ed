#include "export_file.h"
#include "importers.h"
#include "misc_keys.h"
#include "package_names.h"
#include "value_table.h"

#include <string>

using namespace zeva;

namespace {

// Carries over the value that one section of the file describes.
bool import_value(NvConfigFile const& file, NvPoRegistry& registry, std::string const& section) {
  ValueTable place(section, kValuePlace.keys);
  if (!place.read(file)) return false;
  tag_VALUE_TYPE const type = get_data_type(file, section, kValue.name);
  if (type == VALUE_ANY) return false;

  RegistryKey key(registry, place.text(kValuePath), 63);
  return key && copy_value(registry, key.get(), place.text(kValueName), file,
                           {section, kValue.name, type});
}

}  // namespace

int import_misc(char const* dir, char const* regfile) {
  NvConfigFile file;
  if (!read_export_file(file, dir, kSingleValueFile, 23)) return kSingleValuesFailed;
  NvPoRegistry registry(regfile);
  int sections = 0;
  if (!read_number(file, kCommon, kSingleValueCount, sections)) return kSingleValuesFailed;
  for (int i = 0; i < sections; ++i) {
    if (!import_value(file, registry, numbered(kValuePlace.name, i + 1)))
      return kSingleValuesFailed;
  }
  return 0;
}
