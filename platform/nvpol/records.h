// Attribute records as values of an object's key: each attribute under the name of its field.
#pragma once

#include "objects.h"

namespace zeva {

// Stores a record's attributes under `key`. For every attribute record of nvpol.h.
template <class Record>
[[nodiscard]] int32_t store_record(_NvPolComHandle* key, Record const* record);

// Reads them; what is missing is empty or 0. The record is written on success only.
template <class Record>
[[nodiscard]] int32_t load_record(_NvPolComHandle* key, Record* record);

// The exported calls that set and get attributes, and create an object with its attributes.

template <class Record>
void set_attributes(_NvPolComHandle* key, Record const* record, int32_t* status) noexcept {
  guarded(status, [&] { return store_record(key, record); });
}

template <class Record>
void get_attributes(_NvPolComHandle* key, Record* record, int32_t* status) noexcept {
  guarded(status, [&] { return load_record(key, record); });
}

template <class Record>
_NvPolComHandle* create_with(_NvPolComHandle* parent, char const* container, char const* name,
                             Record const* record, int32_t* status) noexcept {
  return create_object(
      parent, container, name, [record](_NvPolComHandle* key) { return store_record(key, record); },
      status);
}

}  // namespace zeva
