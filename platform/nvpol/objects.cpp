#include "objects.h"

#include "nvreg_add.h"

#include <string.h>

namespace zeva {

int32_t KeyHandle::open(_NvPolComHandle* parent, std::string const& path) {
  return take(nvreg_openKey, parent, path);
}

int32_t KeyHandle::create(_NvPolComHandle* parent, std::string const& path) {
  return take(nvreg_createKey, parent, path);
}

int32_t KeyHandle::add(_NvPolComHandle* parent, std::string const& path) {
  return take(nvreg_addKey, parent, path);
}

int32_t KeyHandle::take(Call call, _NvPolComHandle* parent, std::string const& path) {
  int32_t status = NVREG_OK;
  reset(call(parent, path.c_str(), &status));
  return status;
}

_NvPolComHandle* KeyHandle::release() {
  _NvPolComHandle* key = key_;
  key_ = nullptr;
  return key;
}

void KeyHandle::reset(_NvPolComHandle* key) {
  int32_t ignored = NVREG_OK;  // a key that was only looked at has nothing to lose
  if (key_) nvreg_closeKey(key_, &ignored);
  key_ = key;
}

int32_t check_present(_NvPolComHandle* key) {
  return KeyHandle().open(key, "");
}

int32_t end_of_list_or_gone(_NvPolComHandle* key) {
  int32_t status = check_present(key);
  return status == NVREG_OK ? NVREG_END_OF_LIST : status;
}

int32_t check_object_name(char const* name) {
  if (!name) return NVREG_BAD_ARGUMENT;
  return *name == '\0' || strchr(name, '\\') ? NVREG_BAD_NAME : NVREG_OK;
}

int32_t check_new_object_name(char const* name) {
  int32_t status = check_object_name(name);
  if (status == NVREG_OK && strlen(name) >= NVPOL_NAME_SIZE) status = NVREG_BAD_NAME;
  return status;
}

namespace {

std::string object_path(char const* container, char const* name) {
  return std::string(container) + "\\" + name;
}

[[nodiscard]] int32_t delete_key(_NvPolComHandle* parent, std::string const& path) {
  int32_t status = NVREG_OK;
  nvreg_deleteKey(parent, path.c_str(), &status);
  return status;
}

[[nodiscard]] int32_t create_filled(_NvPolComHandle* parent, std::string const& path,
                                    std::function<int32_t(_NvPolComHandle*)> const& fill,
                                    KeyHandle& key) {
  int32_t status = key.add(parent, path);
  if (status != NVREG_OK) return status;
  status = fill(key.get());
  if (status != NVREG_OK) (void)delete_key(parent, path);  // the first failure is the one to tell
  return status;
}

}  // namespace

_NvPolComHandle* open_handle(_NvPolComHandle* parent, std::string const& path,
                             int32_t* status) noexcept {
  KeyHandle key;
  guarded(status, [&] { return key.open(parent, path); });
  return key.release();
}

void close_handle(_NvPolComHandle* handle, int32_t* status) noexcept {
  *status = NVREG_OK;
  nvreg_closeKey(handle, status);
}

_NvPolComHandle* open_object(_NvPolComHandle* parent, char const* container, char const* name,
                             int32_t* status) noexcept {
  KeyHandle key;
  guarded(status, [&] {
    int32_t checked = check_object_name(name);
    return checked == NVREG_OK ? key.open(parent, object_path(container, name)) : checked;
  });
  return key.release();
}

_NvPolComHandle* create_object(_NvPolComHandle* parent, char const* container, char const* name,
                               std::function<int32_t(_NvPolComHandle*)> const& fill,
                               int32_t* status) noexcept {
  KeyHandle key;
  guarded(status, [&] {
    int32_t checked = check_new_object_name(name);
    return checked == NVREG_OK ? create_filled(parent, object_path(container, name), fill, key)
                               : checked;
  });
  return *status == NVREG_OK ? key.release() : nullptr;
}

void delete_object(_NvPolComHandle* parent, char const* container, char const* name,
                   int32_t* status) noexcept {
  guarded(status, [&] {
    int32_t checked = check_object_name(name);
    return checked == NVREG_OK ? delete_key(parent, object_path(container, name)) : checked;
  });
}

void enum_object(_NvPolComHandle* parent, char const* container, uint32_t index, char* name,
                 uint32_t* name_length, int32_t* status) noexcept {
  guarded(status, [&] {
    KeyHandle key;
    int32_t listed = key.open(parent, container);
    if (listed == NVREG_NOT_FOUND) return end_of_list_or_gone(parent);
    if (listed == NVREG_OK) nvreg_enumSubkey(key.get(), index, name, name_length, &listed);
    return listed;
  });
}

void set_order(_NvPolComHandle* parent, char const* container, char const* name, int32_t order,
               int32_t* status) noexcept {
  guarded(status, [&] {
    int32_t checked = check_object_name(name);
    if (checked != NVREG_OK) return checked;
    KeyHandle key;
    checked = key.open(parent, object_path(container, name));
    return checked == NVREG_OK ? set_number(key.get(), "order", static_cast<uint32_t>(order))
                               : checked;
  });
}

int32_t get_text(_NvPolComHandle* key, char const* name, std::string& text) {
  int32_t status = NVREG_BUFFER_TOO_SMALL;
  _NvRegDataType type = NVREG_STRING;
  std::string data(512, '\0');
  while (status == NVREG_BUFFER_TOO_SMALL) {  // again when another client has stored a longer one
    auto length = static_cast<uint32_t>(data.size());
    nvreg_queryValue(key, name, &type, reinterpret_cast<unsigned char*>(data.data()), &length,
                     &status);
    if (status == NVREG_BUFFER_TOO_SMALL || status == NVREG_OK) data.resize(length);
  }
  if (status != NVREG_OK) return status;
  if (type != NVREG_STRING) return NVREG_NOT_FOUND;
  text = data.c_str();
  return NVREG_OK;
}

int32_t enum_text(_NvPolComHandle* key, uint32_t index, std::string& name, std::string& text) {
  int32_t status = NVREG_BUFFER_TOO_SMALL;
  _NvRegDataType type = NVREG_STRING;
  char held_name[NVREG_MAX_NAME + 1];
  std::string data(512, '\0');
  while (status == NVREG_BUFFER_TOO_SMALL) {
    uint32_t name_length = sizeof held_name;
    auto length = static_cast<uint32_t>(data.size());
    nvreg_enumValue(key, index, held_name, &name_length, &type,
                    reinterpret_cast<unsigned char*>(data.data()), &length, &status);
    if (status == NVREG_BUFFER_TOO_SMALL || status == NVREG_OK) data.resize(length);
  }
  if (status != NVREG_OK) return status;
  name = held_name;
  text = type == NVREG_STRING ? data.c_str() : "";
  return NVREG_OK;
}

int32_t set_text(_NvPolComHandle* key, char const* name, std::string_view text) {
  std::string const data(text);
  int32_t status = NVREG_OK;
  nvreg_setValue(key, name, NVREG_STRING, reinterpret_cast<unsigned char const*>(data.c_str()),
                 static_cast<uint32_t>(data.size() + 1), &status);
  return status;
}

int32_t add_text(_NvPolComHandle* key, char const* name, char const* after, std::string_view text) {
  std::string const data(text);
  int32_t status = NVREG_OK;
  nvreg_addValue(key, name, after, NVREG_STRING,
                 reinterpret_cast<unsigned char const*>(data.c_str()),
                 static_cast<uint32_t>(data.size() + 1), &status);
  return status;
}

int32_t get_number(_NvPolComHandle* key, char const* name, uint32_t& number) {
  int32_t status = NVREG_OK;
  _NvRegDataType type = NVREG_DWORD;
  unsigned char data[sizeof number];
  uint32_t length = sizeof data;
  nvreg_queryValue(key, name, &type, data, &length, &status);
  if (status == NVREG_BUFFER_TOO_SMALL) return NVREG_NOT_FOUND;  // too long for a number
  if (status != NVREG_OK) return status;
  if (type != NVREG_DWORD || length != sizeof number) return NVREG_NOT_FOUND;
  memcpy(&number, data, sizeof number);
  return NVREG_OK;
}

int32_t set_number(_NvPolComHandle* key, char const* name, uint32_t number) {
  int32_t status = NVREG_OK;
  nvreg_setValue(key, name, NVREG_DWORD, reinterpret_cast<unsigned char const*>(&number),
                 sizeof number, &status);
  return status;
}

int32_t delete_value(_NvPolComHandle* key, char const* name) {
  int32_t status = NVREG_OK;
  nvreg_deleteValue(key, name, &status);
  return status;
}

int32_t copy_out(std::string_view text, char* buffer, uint32_t* length) {
  if (!buffer || !length) return NVREG_BAD_ARGUMENT;
  bool const fits = text.size() < *length;
  *length = static_cast<uint32_t>(text.size());
  if (!fits) return NVREG_BUFFER_TOO_SMALL;
  memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
  return NVREG_OK;
}

}  // namespace zeva
