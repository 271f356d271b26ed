// Classifications and their actions.
#include "records.h"

using namespace zeva;

namespace {
constexpr char kClassifications[] = "Classification";
constexpr char kActions[] = "actions";
}  // namespace

_NvPolComHandle* nvpol_openClassificationHive(_NvPolComHandle* regkey, int32_t* status) {
  return open_handle(regkey, "", status);
}

void nvpol_closeClassificationHive(_NvPolComHandle* hive, int32_t* status) {
  close_handle(hive, status);
}

void nvpol_enumClassification(_NvPolComHandle* hive, uint32_t index, char* name,
                              uint32_t* name_length, int32_t* status) {
  enum_object(hive, kClassifications, index, name, name_length, status);
}

_NvPolComHandle* nvpol_openClassification(_NvPolComHandle* hive, const char* iname,
                                          int32_t* status) {
  return open_object(hive, kClassifications, iname, status);
}

_NvPolComHandle* nvpol_createClassification(_NvPolComHandle* hive, const char* iname,
                                            const _NvPolCommAttrib* attrib, int32_t* status) {
  return create_with(hive, kClassifications, iname, attrib, status);
}

void nvpol_closeClassification(_NvPolComHandle* classification, int32_t* status) {
  close_handle(classification, status);
}

void nvpol_getClassificationAttrib(_NvPolComHandle* classification, _NvPolCommAttrib* attrib,
                                   int32_t* status) {
  get_attributes(classification, attrib, status);
}

void nvpol_setClassificationAttrib(_NvPolComHandle* classification, const _NvPolCommAttrib* attrib,
                                   int32_t* status) {
  set_attributes(classification, attrib, status);
}

void nvpol_deleteClassification(_NvPolComHandle* hive, const char* iname, int32_t* status) {
  delete_object(hive, kClassifications, iname, status);
}

void nvpol_enumAction(_NvPolComHandle* classification, uint32_t index, char* name,
                      uint32_t* name_length, int32_t* status) {
  enum_object(classification, kActions, index, name, name_length, status);
}

_NvPolComHandle* nvpol_openAction(_NvPolComHandle* classification, const char* iname,
                                  int32_t* status) {
  return open_object(classification, kActions, iname, status);
}

_NvPolComHandle* nvpol_createAction(_NvPolComHandle* classification, const char* iname,
                                    const _NvPolActionAttrib* attrib, int32_t* status) {
  return create_with(classification, kActions, iname, attrib, status);
}

void nvpol_closeAction(_NvPolComHandle* action, int32_t* status) {
  close_handle(action, status);
}

void nvpol_getActionAttrib(_NvPolComHandle* action, _NvPolActionAttrib* attrib, int32_t* status) {
  get_attributes(action, attrib, status);
}

void nvpol_setActionAttrib(_NvPolComHandle* action, const _NvPolActionAttrib* attrib,
                           int32_t* status) {
  set_attributes(action, attrib, status);
}

void nvpol_deleteAction(_NvPolComHandle* classification, const char* iname, int32_t* status) {
  delete_object(classification, kActions, iname, status);
}
