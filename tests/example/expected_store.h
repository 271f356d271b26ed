// What a migration makes of a store, derived from the text of an export alone.
//
// A second opinion on the importers: it has a reader and a conversion of its own and no tables of
// keys. It takes the values of a section in the order of the file, so it holds for exports that,
// like examples/branch-office, are well-formed, complete, and in the order in which importers
// write.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "registry_client.h"

// A typed text of an export, unescaped: type 1 number, 2 text, 3 list, 4 identifier.
struct TypedText {
  int type = 0;
  std::string payload;
};

// An export file: the sections by name, each with its keys in file order.
using ExportSection = std::vector<std::pair<std::string, TypedText>>;
using ExportFile = std::map<std::string, ExportSection>;

ExportFile read_export(std::filesystem::path const& path);
void write_export(std::filesystem::path const& path, ExportFile const& file);

// Every key of a store by its full path, each with its values in store order.
using Store = std::map<std::string, std::vector<StoredValue>>;

// The store after the export in the folder has been migrated into it.
Store migrated(Store before, std::filesystem::path const& folder);
