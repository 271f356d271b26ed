// What export files hold, as data. The tables of an importer stand beside it in a header of their
// own: the importer reads and stores by them, a rehearsal examines a package by them, and a test
// holds docs/export-files.md against them.
//
// In a name "%d" stands for the number of an item.
#pragma once

#include "typedtext.h"

#include <span>
#include <string>
#include <string_view>

namespace zeva {

// What becomes of a value that is read, and so how much of it is kept.
enum class Fate {
  kUsed,       // it counts, names or chooses something, and is not stored
  kStored,     // a value of the registry, of zeva::kValueBuffer bytes at most
  kShownName,  // the display name of a record, of NVPOL_DISPLAY_NAME_SIZE bytes at most
  kRemark,     // the comment of a record, of NVPOL_COMMENT_SIZE bytes at most
};

struct ExportKey {
  char const* name;  // also that of the registry value
  tag_VALUE_TYPE type;
  Fate fate = Fate::kStored;
  bool optional = false;
};

// Keys of a section that are read in one go, in their order.
struct ExportSection {
  constexpr ExportSection(char const* section, std::span<ExportKey const> rows,
                          char const* path = nullptr)
      : name(section), keys(rows), stored_in(path) {}
  constexpr ExportSection(char const* section, ExportKey const& row, char const* path = nullptr)
      : name(section), keys(&row, 1), stored_in(path) {}

  char const* name;
  std::span<ExportKey const> keys;
  // The registry key that takes the values, as far as its path is the same in every export: from
  // the registry's root, or, in the parts of a task and a policy, below the key of that. Null where
  // nothing is stored, and where the export itself says where.
  char const* stored_in;
};

// The section that every export file begins with.
inline constexpr char kCommon[] = "common";

// The name of an item; where nothing stands for the number, it is appended.
[[nodiscard]] std::string numbered(std::string_view name, int number);

// What stands before the number in the name of an item.
[[nodiscard]] std::string_view stem_of(std::string_view name);

}  // namespace zeva
