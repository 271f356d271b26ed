// The steps that all importers are made of, so that an importer reads like the description of its
// file: open a key, delete keys, read a number, and say under which code it went wrong.
#pragma once

#include "export_keys.h"
#include "mapping.h"
#include "nvconfigfile.h"
#include "nvporegistry.h"
#include "openkey.h"

#include <string>
#include <vector>

namespace zeva {

// Logs "Error [code]: text". The code tells the place that failed.
void log_error(int code, std::string const& text);

// An open key of the registry that is closed when it goes out of scope. A failure to open it is
// logged under `code`; the object is then false.
class RegistryKey : public OpenKey {
 public:
  // The key at `path`, relative to the root or to an open key that outlives this one; made when it
  // is missing.
  RegistryKey(NvPoRegistry& registry, std::string const& path, int code);
  RegistryKey(NvPoRegistry& registry, _NvPolComHandle* parent, std::string const& path, int code);
};

// Deletes the named keys below `key`. The first that cannot be deleted is logged as "WHAT [code]: "
// with the reason, and ends it.
[[nodiscard]] bool delete_keys(NvPoRegistry& registry, _NvPolComHandle* key,
                               std::vector<std::string> const& names, char const* what, int code);

// Reads a number, of which the low 32 bits count as in the store. An unreadable one is logged and
// leaves `number` as it was.
[[nodiscard]] bool read_number(NvConfigFile const& file, std::string const& section,
                               ExportKey const& key, int& number);

// Where a value of an export file stands, and its type.
struct ExportValue {
  std::string section, key;
  tag_VALUE_TYPE type;
};

// Stores one value of the file under `name` in an open key. What cannot be read or written is
// logged by the mapping.
[[nodiscard]] bool copy_value(NvPoRegistry& registry, _NvPolComHandle* key, std::string const& name,
                              NvConfigFile const& file, ExportValue const& value);

}  // namespace zeva
