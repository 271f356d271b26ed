// Address lists. A list's key holds its attributes and its addresses, address1 and so on.
#include "addressfile.h"
#include "numberedtexts.h"
#include "records.h"

using namespace zeva;

namespace {

constexpr char kAddressLists[] = "AddressList";

NumberedTexts addresses_of(_NvPolComHandle* list) {
  return {list, "address"};
}

[[nodiscard]] int32_t get_attributes_and_count(_NvPolComHandle* list, _NvPolAddrListAttr* attrib) {
  _NvPolAddrListAttr loaded;
  int32_t status = attrib ? load_record(list, &loaded) : NVREG_BAD_ARGUMENT;
  if (status == NVREG_OK) status = addresses_of(list).count(loaded.addressCount);
  if (status == NVREG_OK) *attrib = loaded;
  return status;
}

[[nodiscard]] int32_t import_file(_NvPolComHandle* list, char const* file) {
  std::vector<std::string> addresses;
  int32_t status = file ? read_address_file(file, addresses) : NVREG_BAD_ARGUMENT;
  return status == NVREG_OK ? addresses_of(list).append(addresses) : status;
}

}  // namespace

_NvPolComHandle* nvpol_openAddrListHive(_NvPolComHandle* regkey, int32_t* status) {
  return open_handle(regkey, "", status);
}

void nvpol_closeAddrListHive(_NvPolComHandle* hive, int32_t* status) {
  close_handle(hive, status);
}

void nvpol_enumAddrList(_NvPolComHandle* hive, uint32_t index, char* name, uint32_t* name_length,
                        int32_t* status) {
  enum_object(hive, kAddressLists, index, name, name_length, status);
}

_NvPolComHandle* nvpol_openAddrList(_NvPolComHandle* hive, const char* iname, int32_t* status) {
  return open_object(hive, kAddressLists, iname, status);
}

_NvPolComHandle* nvpol_createAddrList(_NvPolComHandle* hive, const char* iname,
                                      const _NvPolAddrListAttr* attrib, int32_t* status) {
  return create_with(hive, kAddressLists, iname, attrib, status);
}

void nvpol_closeAddrList(_NvPolComHandle* list, int32_t* status) {
  close_handle(list, status);
}

void nvpol_getAddrListAttrib(_NvPolComHandle* list, _NvPolAddrListAttr* attrib, int32_t* status) {
  guarded(status, [&] { return get_attributes_and_count(list, attrib); });
}

void nvpol_setAddrListAttrib(_NvPolComHandle* list, const _NvPolAddrListAttr* attrib,
                             int32_t* status) {
  set_attributes(list, attrib, status);
}

void nvpol_deleteAddrList(_NvPolComHandle* hive, const char* iname, int32_t* status) {
  delete_object(hive, kAddressLists, iname, status);
}

void nvpol_insertAddress(_NvPolComHandle* list, const char* address, int32_t* status) {
  guarded(status, [&] {
    if (!address) return NVREG_BAD_ARGUMENT;
    return *address == '\0' ? NVREG_BAD_NAME : addresses_of(list).append({address});
  });
}

void nvpol_removeAddress(_NvPolComHandle* list, const char* address, int32_t* status) {
  guarded(status, [&] {
    if (!address) return NVREG_BAD_ARGUMENT;
    return addresses_of(list).remove([&](std::string const& held) { return held == address; });
  });
}

void nvpol_enumAddress(_NvPolComHandle* list, uint32_t index, char* address,
                       uint32_t* address_length, int32_t* status) {
  guarded(status, [&] {
    std::string text;
    int32_t found = addresses_of(list).get(index, text);
    return found == NVREG_OK ? copy_out(text, address, address_length) : found;
  });
}

void nvpol_importAddress(_NvPolComHandle* list, const char* file, int32_t* status) {
  guarded(status, [&] { return import_file(list, file); });
}
