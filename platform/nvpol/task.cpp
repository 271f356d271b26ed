// Tasks of a rule, and their outcomes.
#include "records.h"
#include "rulelayout.h"

using namespace zeva;

namespace {

[[nodiscard]] int32_t add_outcome(_NvPolComHandle* task, char const* name, char const* value) {
  if (!value) return NVREG_BAD_ARGUMENT;
  int32_t status = check_new_object_name(name);
  KeyHandle outcomes;
  if (status == NVREG_OK) status = outcomes.create(task, kOutcomes);
  return status == NVREG_OK ? set_text(outcomes.get(), name, value) : status;
}

[[nodiscard]] int32_t enum_outcome(_NvPolComHandle* task, uint32_t index, char* name,
                                   uint32_t* name_length, char* value, uint32_t* value_length) {
  if (!name || !name_length || !value || !value_length) return NVREG_BAD_ARGUMENT;
  KeyHandle outcomes;
  int32_t status = outcomes.open(task, kOutcomes);
  if (status == NVREG_NOT_FOUND) return end_of_list_or_gone(task);
  if (status != NVREG_OK) return status;

  std::string held_name;
  std::string held_value;
  status = enum_text(outcomes.get(), index, held_name, held_value);
  if (status != NVREG_OK) return status;
  if (held_name.size() < *name_length && held_value.size() < *value_length) {
    status = copy_out(held_name, name, name_length);
    return status == NVREG_OK ? copy_out(held_value, value, value_length) : status;
  }
  *name_length = static_cast<uint32_t>(held_name.size());
  *value_length = static_cast<uint32_t>(held_value.size());
  return NVREG_BUFFER_TOO_SMALL;
}

}  // namespace

void nvpol_enumTask(_NvPolComHandle* rule, uint32_t index, char* name, uint32_t* name_length,
                    int32_t* status) {
  enum_object(rule, kTasks, index, name, name_length, status);
}

_NvPolComHandle* nvpol_openTask(_NvPolComHandle* rule, const char* name, int32_t* status) {
  return open_object(rule, kTasks, name, status);
}

_NvPolComHandle* nvpol_createTask(_NvPolComHandle* rule, const char* name,
                                  const _NvPolTaskAttr* attrib, int32_t* status) {
  return create_with(rule, kTasks, name, attrib, status);
}

void nvpol_closeTask(_NvPolComHandle* task, int32_t* status) {
  close_handle(task, status);
}

void nvpol_deleteTask(_NvPolComHandle* rule, const char* name, int32_t* status) {
  delete_object(rule, kTasks, name, status);
}

void nvpol_getTaskAttrib(_NvPolComHandle* task, _NvPolTaskAttr* attrib, int32_t* status) {
  get_attributes(task, attrib, status);
}

void nvpol_setTaskAttrib(_NvPolComHandle* task, const _NvPolTaskAttr* attrib, int32_t* status) {
  set_attributes(task, attrib, status);
}

void nvpol_setTaskOrder(_NvPolComHandle* rule, const char* name, int32_t order, int32_t* status) {
  set_order(rule, kTasks, name, order, status);
}

void nvpol_addOutcome(_NvPolComHandle* task, const char* name, const char* value, int32_t* status) {
  guarded(status, [&] { return add_outcome(task, name, value); });
}

void nvpol_deleteOutcome(_NvPolComHandle* task, const char* name, int32_t* status) {
  guarded(status, [&] {
    KeyHandle outcomes;
    int32_t opened = name ? outcomes.open(task, kOutcomes) : NVREG_BAD_ARGUMENT;
    return opened == NVREG_OK ? delete_value(outcomes.get(), name) : opened;
  });
}

void nvpol_enumOutcome(_NvPolComHandle* task, uint32_t index, char* name, uint32_t* name_length,
                       char* value, uint32_t* value_length, int32_t* status) {
  guarded(status,
          [&] { return enum_outcome(task, index, name, name_length, value, value_length); });
}

void nvpol_getOutcome(_NvPolComHandle* task, const char* name, char* value, uint32_t* value_length,
                      int32_t* status) {
  guarded(status, [&] {
    KeyHandle outcomes;
    std::string held;
    int32_t found = name ? outcomes.open(task, kOutcomes) : NVREG_BAD_ARGUMENT;
    if (found == NVREG_OK) found = get_text(outcomes.get(), name, held);
    return found == NVREG_OK ? copy_out(held, value, value_length) : found;
  });
}
