// What a migration makes of a store, derived from the text of an export alone.
//
// A second opinion on the importers: it has a reader and a conversion of its own and no tables of
// keys. It takes the values of a section in the order of the file, so it holds for exports that,
// like examples/branch-office, are well-formed, complete, and in the order in which importers
// write.
#pragma once

#include <deque>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "registry_view.h"

// A typed text of an export, unescaped: type 1 number, 2 text, 3 list, 4 identifier.
struct TypedText {
  int type = 0;
  std::string payload;
};

// An export file: the sections, each with its keys, in file order.
using ExportSection = std::vector<std::pair<std::string, TypedText>>;
struct ExportFile : std::deque<std::pair<std::string, ExportSection>> {
  // The section of that name, added when there is none.
  ExportSection& operator[](std::string const& name);
};

ExportFile read_export(std::filesystem::path const& path);
void write_export(std::filesystem::path const& path, ExportFile const& file);

// Every key of a store with its values, a line of `zeva-regdump --json` each: depth first and in
// store order.
using Store = std::vector<zeva::Json>;

// The store after the export in the folder has been migrated into it.
Store migrated(Store before, std::filesystem::path const& folder);
