#include "value_table.h"

#include <utility>

namespace zeva {

ValueTable::ValueTable(std::string section, std::span<ExportKey const> keys)
    : section_(std::move(section)) {
  for (ExportKey const& key : keys) add(key);
}

void ValueTable::add(ExportKey const& key) {
  Variable& variable = variables_.emplace_back();
  add(key, key.type == VALUE_NUMBER ? static_cast<void*>(&variable.number) : &variable.text);
}

void ValueTable::add(ExportKey const& key, void* variable) {
  _tag_MAP_ITEM const row = {section_, key.name, key.type, variable};
  (key.optional ? optional_ : required_).push_back(row);
  if (key.fate == Fate::kStored) stored_.push_back({"", key.name, key.type, variable});
}

void* ValueTable::variable(ExportKey const& key) {
  auto const row = std::ranges::find(required_, key.name, &_tag_MAP_ITEM::key);
  return row != required_.end() ? row->data
                                : std::ranges::find(optional_, key.name, &_tag_MAP_ITEM::key)->data;
}

bool ValueTable::read(NvConfigFile const& file) {
  if (!read_data(file, required_.data(), static_cast<int>(required_.size()), false)) return false;
  for (_tag_MAP_ITEM const& row : optional_) (void)read_data(file, &row, 1, true);
  return true;
}

bool ValueTable::write(NvPoRegistry& registry, _NvPolComHandle* key) {
  return write_data(registry, key, stored_.data(), static_cast<int>(stored_.size()));
}

bool import_section(NvPoRegistry& registry, _NvPolComHandle* parent, NvConfigFile const& file,
                    ExportSection const& section, int code) {
  ValueTable values(section);
  if (!values.read(file)) return false;
  RegistryKey key(registry, parent, section.stored_in, code);
  return key && values.write(registry, key.get());
}

}  // namespace zeva
