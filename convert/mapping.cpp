#include "mapping.h"

#include "identifier.h"
#include "runlog.h"

#include <stdlib.h>

#include <utility>

namespace {

void log_unreadable(int code, NvConfigFile const& file, std::string const& section,
                    std::string const& key) {
  LogDebugMessage("Error [%d]: read value [%s.%s] from %s failed.", code, section.c_str(),
                  key.c_str(), file.getname().c_str());
}

bool write_identifier(_NvPolComHandle* key, std::string const& name, std::string const& text) {
  char bytes[16] = {};
  str_to_guid(&text, bytes);
  int32_t status = 0;
  nvreg_setValue(key, name.c_str(), NVREG_BINARY, reinterpret_cast<unsigned char const*>(bytes),
                 sizeof bytes, &status);
  if (status >= 0) return true;
  LogDebugMessage("Error [%d]: set value failed.", 246);
  return false;
}

}  // namespace

bool read_data(NvConfigFile const& file, std::string const& section, std::string const& key,
               tag_VALUE_TYPE type, void* data, bool quiet) {
  std::string text;
  (void)file.getattribute(section, key, text);  // no typed text is empty
  text = trans_str(std::move(text));
  int found = VALUE_ANY;
  char const* const payload = payload_of(text.c_str(), found, type);
  if (payload == nullptr) {
    if (!quiet) log_unreadable(148, file, section, key);
    return false;
  }
  if (data == nullptr) return true;
  if (found == VALUE_NUMBER) {
    *static_cast<long*>(data) = static_cast<long>(strtoll(payload, nullptr, 10));
  } else {
    // A list of addresses can be as long as the file: it is handed on, not copied.
    text.erase(0, static_cast<size_t>(payload - text.c_str()));
    *static_cast<std::string*>(data) = std::move(text);
  }
  return true;
}

bool read_data(NvConfigFile const& file, _tag_MAP_ITEM const* rows, int count, bool quiet) {
  for (int i = 0; i < count; ++i)
    if (!read_data(file, rows[i].section, rows[i].key, rows[i].type, rows[i].data, quiet))
      return false;
  return true;
}

tag_VALUE_TYPE get_data_type(NvConfigFile const& file, std::string const& section,
                             std::string const& key) {
  std::string stored;
  (void)file.getattribute(section, key, stored);
  int type = VALUE_ANY;
  // Untranslated: what trans_str puts back is neither digit nor colon, so the type is the same.
  if (payload_of(stored.c_str(), type, VALUE_ANY) == nullptr)
    log_unreadable(130, file, section, key);
  return static_cast<tag_VALUE_TYPE>(type);
}

bool write_data(NvPoRegistry& reg, _NvPolComHandle* key, std::string const& name,
                tag_VALUE_TYPE type, void* data) {
  _NvRegDataType stored_as = getRegType(type);
  if (stored_as == NVREG_BINARY)
    return write_identifier(key, name, *static_cast<std::string*>(data));

  Nvregentry entry;
  entry.setname(name);
  if (stored_as == NVREG_DWORD) {
    entry.setvalue(stored_as, static_cast<unsigned long>(*static_cast<long*>(data)));
  } else if (stored_as == NVREG_STRING) {
    entry.setvalue(stored_as, *static_cast<std::string*>(data));
  } else {
    std::vector<std::string> list;
    parse_multi_str(static_cast<std::string*>(data)->c_str(), list);
    entry.setvalue(stored_as, list);
  }
  if (reg.nvsetvalue(key, entry) == 0) return true;
  LogDebugMessage("Error [%d]: %s", 258, reg.geterror().c_str());
  return false;
}

bool write_data(NvPoRegistry& reg, _NvPolComHandle* key, _tag_MAP_ITEM const* rows, int count) {
  for (int i = 0; i < count; ++i)
    if (!write_data(reg, key, rows[i].key, rows[i].type, rows[i].data)) return false;
  return true;
}
