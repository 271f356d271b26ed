// The road of a setting from an export file into the registry: tables that name an INI section and
// key, the kind of value, and a variable of the importer. read_data fills the variables from the
// file, write_data stores them as values named like the keys.
#pragma once

#include "nvconfigfile.h"
#include "nvporegistry.h"
#include "typedtext.h"

#include <string>

// One row of a table. Tables are arrays; rows and variables belong to the importer.
struct _tag_MAP_ITEM {
  std::string section;
  std::string key;  // also the name of the registry value
  tag_VALUE_TYPE type;
  void* data;  // a long for a number, else a std::string; null: on reading, only check the value
};

// Reads one value into `*data`. A number has 64 bits before it is put into the long, so that its
// low 32 bits, which are what the registry stores, are the same wherever a long has 32. False, with
// `*data` untouched, when the value is missing, malformed or of another type; that is logged unless
// `quiet`.
[[nodiscard]] bool read_data(NvConfigFile const& file, std::string const& section,
                             std::string const& key, tag_VALUE_TYPE type, void* data, bool quiet);

// Reads rows in order up to the first that fails.
[[nodiscard]] bool read_data(NvConfigFile const& file, _tag_MAP_ITEM const* rows, int count,
                             bool quiet);

// The type of the value in the file; VALUE_ANY, logged, when it is missing or malformed.
[[nodiscard]] tag_VALUE_TYPE get_data_type(NvConfigFile const& file, std::string const& section,
                                           std::string const& key);

// Stores the variable behind `data` as a value of an open key; a failure is logged. An identifier
// is stored as 16 bytes, zero where the text does not reach.
[[nodiscard]] bool write_data(NvPoRegistry& reg, _NvPolComHandle* key, std::string const& name,
                              tag_VALUE_TYPE type, void* data);

// Stores rows in order up to the first that fails; what is stored stays.
[[nodiscard]] bool write_data(NvPoRegistry& reg, _NvPolComHandle* key, _tag_MAP_ITEM const* rows,
                              int count);
