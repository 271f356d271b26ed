#include "value_table.h"

#include <utility>

namespace zeva {

ValueTable::ValueTable(std::string section, std::span<ValueRow const> rows)
    : section_(std::move(section)) {
  for (ValueRow const& row : rows) add(row.key, row.type);
}

void ValueTable::add(std::string const& key, tag_VALUE_TYPE type) {
  Variable& variable = variables_.emplace_back();
  void* const data = type == VALUE_NUMBER ? static_cast<void*>(&variable.number) : &variable.text;
  rows_.push_back({section_, key, type, data});
}

bool ValueTable::read(NvConfigFile const& file) {
  return read_data(file, rows_.data(), static_cast<int>(rows_.size()), false);
}

bool ValueTable::write(NvPoRegistry& registry, _NvPolComHandle* key) {
  return write_data(registry, key, rows_.data(), static_cast<int>(rows_.size()));
}

bool import_section(NvPoRegistry& registry, _NvPolComHandle* parent, NvConfigFile const& file,
                    std::string const& section, std::span<ValueRow const> rows,
                    std::string const& subkey, int code) {
  ValueTable values(section, rows);
  if (!values.read(file)) return false;
  RegistryKey key(registry, parent, subkey, code);
  return key && values.write(registry, key.get());
}

}  // namespace zeva
