// The values of one section of an export file on their way into one registry key.
//
// A ValueTable makes the mapping rows (mapping.h) of an importer's keys, and holds the variables
// for them, so that exactly what was read is written, in the same order and under the same names.
// What cannot be read or written is logged by the mapping.
#pragma once

#include "export_keys.h"
#include "steps.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <deque>
#include <iterator>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace zeva {

class ValueTable {
 public:
  explicit ValueTable(std::string section, std::span<ExportKey const> keys = {});
  explicit ValueTable(ExportSection const& section) : ValueTable(section.name, section.keys) {}
  ValueTable(ValueTable const&) = delete;  // the rows point into the table
  ValueTable& operator=(ValueTable const&) = delete;

  // Adds a row with a variable of the table's own. The name need not outlive the call.
  void add(ExportKey const& key);

  // Adds rows with variables of the caller's, one for each of `keys`: a long for a number, else a
  // std::string.
  template <auto const& keys, class... Variables>
  void bind(Variables&... variables);

  // Reads the required rows in order, then the optional ones. False, logged, at the first required
  // one that is missing or of another type.
  [[nodiscard]] bool read(NvConfigFile const& file);

  // Writes the rows that are to be stored in order into an open key; false at the first failure.
  [[nodiscard]] bool write(NvPoRegistry& registry, _NvPolComHandle* key);

  // The variable of a row, which must be in the table.
  long& number(ExportKey const& key) { return *static_cast<long*>(variable(key)); }
  std::string& text(ExportKey const& key) { return *static_cast<std::string*>(variable(key)); }

  // A number that counts; as in the store, its low 32 bits are what matters.
  int count(ExportKey const& key) { return static_cast<int>(number(key)); }

 private:
  struct Variable {
    long number = 0;
    std::string text;
  };

  void add(ExportKey const& key, void* variable);
  void* variable(ExportKey const& key);

  std::string section_;
  std::deque<Variable> variables_;  // a deque's elements stay where they are
  std::vector<_tag_MAP_ITEM> required_, optional_, stored_;
};

template <auto const& keys, class... Variables>
void ValueTable::bind(Variables&... variables) {
  static_assert(((std::is_same_v<Variables, long> || std::is_same_v<Variables, std::string>)&&...));
  constexpr std::array kIsNumber = {std::is_same_v<Variables, long>...};
  static_assert(std::ranges::equal(kIsNumber, keys, {}, {},
                                   [](ExportKey const& key) { return key.type == VALUE_NUMBER; }));
  ExportKey const* key = std::begin(keys);
  (add(*key++, &variables), ...);
}

// Copies a section of the file into its key below `parent`. When one of its values cannot be read,
// the key is not touched. A key that cannot be opened is logged under `code`.
[[nodiscard]] bool import_section(NvPoRegistry& registry, _NvPolComHandle* parent,
                                  NvConfigFile const& file, ExportSection const& section, int code);

}  // namespace zeva
