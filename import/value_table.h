// The values of one section of an export file on their way into one registry key.
//
// The tables of a task importer name keys and types only. A ValueTable holds the variables and the
// mapping rows for them, so that exactly what was read is written, in the same order and under the
// same names. What cannot be read or written is logged by the mapping (mapping.h).
#pragma once

#include "steps.h"

#include <cstddef>
#include <deque>
#include <span>
#include <string>
#include <vector>

namespace zeva {

// A value of an importer's table: its key in the export, which is its name in the registry too,
// and the type it must have there.
struct ValueRow {
  char const* key;
  tag_VALUE_TYPE type;
};

class ValueTable {
 public:
  explicit ValueTable(std::string section, std::span<ValueRow const> rows = {});
  ValueTable(ValueTable const&) = delete;  // the rows point into the table
  ValueTable& operator=(ValueTable const&) = delete;

  void add(std::string const& key, tag_VALUE_TYPE type);

  // Reads the rows in order; false, logged, at the first that is missing or of another type.
  [[nodiscard]] bool read(NvConfigFile const& file);

  // Writes the rows in order into an open key; false at the first failure.
  [[nodiscard]] bool write(NvPoRegistry& registry, _NvPolComHandle* key);

  // The variable of the row at `index`, which must be a number.
  long& number(std::size_t index) { return variables_[index].number; }

 private:
  struct Variable {
    long number = 0;
    std::string text;
  };

  std::string section_;
  std::deque<Variable> variables_;  // a deque's elements stay where they are
  std::vector<_tag_MAP_ITEM> rows_;
};

// Copies the rows from a section of the file into the key `subkey` below `parent`. When one of them
// cannot be read, the key is not touched. A key that cannot be opened is logged under `code`.
[[nodiscard]] bool import_section(NvPoRegistry& registry, _NvPolComHandle* parent,
                                  NvConfigFile const& file, std::string const& section,
                                  std::span<ValueRow const> rows, std::string const& subkey,
                                  int code);

}  // namespace zeva
