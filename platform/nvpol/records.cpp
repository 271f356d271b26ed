#include "records.h"

#include <stddef.h>
#include <string.h>

#include <span>

namespace zeva {
namespace {

struct Field {
  char const* name;
  size_t offset;
  size_t text_size;  // 0 for a 32-bit number
};

#define TEXT(record, field) \
  { #field, offsetof(record, field), sizeof(record::field) }
#define NUMBER(record, field) \
  { #field, offsetof(record, field), 0 }

// Each table in the order in which the export's importers write the values, so that objects made
// either way look alike in the store. Only an action's extra is the library's own: importers do not
// write it, and it then reads as 0.
constexpr Field kClassification[] = {TEXT(_NvPolCommAttrib, displayName),
                                     TEXT(_NvPolCommAttrib, comment)};
constexpr Field kAction[] = {NUMBER(_NvPolActionAttrib, order), TEXT(_NvPolActionAttrib, comment),
                             TEXT(_NvPolActionAttrib, displayName),
                             NUMBER(_NvPolActionAttrib, actionType),
                             NUMBER(_NvPolActionAttrib, extra)};
constexpr Field kRule[] = {TEXT(_NvPolRuleAttr, comment), TEXT(_NvPolRuleAttr, displayName),
                           NUMBER(_NvPolRuleAttr, order), NUMBER(_NvPolRuleAttr, matchType)};
constexpr Field kTask[] = {NUMBER(_NvPolTaskAttr, order),  NUMBER(_NvPolTaskAttr, filter),
                           NUMBER(_NvPolTaskAttr, enable), NUMBER(_NvPolTaskAttr, overridable),
                           TEXT(_NvPolTaskAttr, comment),  TEXT(_NvPolTaskAttr, displayName)};
constexpr Field kAddressList[] = {TEXT(_NvPolAddrListAttr, displayName),
                                  TEXT(_NvPolAddrListAttr, comment),
                                  NUMBER(_NvPolAddrListAttr, order)};

#undef TEXT
#undef NUMBER

std::span<Field const> fields_of(_NvPolCommAttrib const*) {
  return kClassification;
}
std::span<Field const> fields_of(_NvPolActionAttrib const*) {
  return kAction;
}
std::span<Field const> fields_of(_NvPolRuleAttr const*) {
  return kRule;
}
std::span<Field const> fields_of(_NvPolTaskAttr const*) {
  return kTask;
}
std::span<Field const> fields_of(_NvPolAddrListAttr const*) {
  return kAddressList;
}

[[nodiscard]] int32_t store_field(_NvPolComHandle* key, Field const& field, char const* place) {
  if (field.text_size > 0)
    return set_text(key, field.name, {place, strnlen(place, field.text_size)});
  uint32_t number;
  memcpy(&number, place, sizeof number);
  return set_number(key, field.name, number);
}

[[nodiscard]] int32_t load_field(_NvPolComHandle* key, Field const& field, char* place) {
  int32_t status;
  if (field.text_size > 0) {
    std::string text;
    status = get_text(key, field.name, text);
    strncpy(place, text.c_str(), field.text_size);
  } else {
    uint32_t number = 0;
    status = get_number(key, field.name, number);
    memcpy(place, &number, sizeof number);
  }
  return status == NVREG_NOT_FOUND ? NVREG_OK : status;
}

}  // namespace

template <class Record>
int32_t store_record(_NvPolComHandle* key, Record const* record) {
  if (!record) return NVREG_BAD_ARGUMENT;
  for (Field const& field : fields_of(record)) {
    int32_t status = store_field(key, field, reinterpret_cast<char const*>(record) + field.offset);
    if (status != NVREG_OK) return status;
  }
  return NVREG_OK;
}

template <class Record>
int32_t load_record(_NvPolComHandle* key, Record* record) {
  if (!record) return NVREG_BAD_ARGUMENT;
  int32_t status = check_present(key);
  if (status != NVREG_OK) return status;
  Record loaded{};
  for (Field const& field : fields_of(record)) {
    status = load_field(key, field, reinterpret_cast<char*>(&loaded) + field.offset);
    if (status != NVREG_OK) return status;
  }
  *record = loaded;
  return NVREG_OK;
}

template int32_t store_record(_NvPolComHandle*, _NvPolCommAttrib const*);
template int32_t store_record(_NvPolComHandle*, _NvPolActionAttrib const*);
template int32_t store_record(_NvPolComHandle*, _NvPolRuleAttr const*);
template int32_t store_record(_NvPolComHandle*, _NvPolTaskAttr const*);
template int32_t store_record(_NvPolComHandle*, _NvPolAddrListAttr const*);
template int32_t load_record(_NvPolComHandle*, _NvPolCommAttrib*);
template int32_t load_record(_NvPolComHandle*, _NvPolActionAttrib*);
template int32_t load_record(_NvPolComHandle*, _NvPolRuleAttr*);
template int32_t load_record(_NvPolComHandle*, _NvPolTaskAttr*);
template int32_t load_record(_NvPolComHandle*, _NvPolAddrListAttr*);

}  // namespace zeva
