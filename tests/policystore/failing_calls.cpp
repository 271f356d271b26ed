#include "failing_calls.h"

#include "nvpol.h"

#include <stdlib.h>

#include <new>

std::string failing_call;
bool out_of_memory = false;

void* operator new(size_t size) {
  void* const memory = out_of_memory ? nullptr : malloc(size);
  return memory ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  free(memory);
}

#define FAILING(call, parameters, arguments)      \
  extern "C" void __real_##call parameters;       \
  extern "C" void __wrap_##call parameters;       \
  void __wrap_##call parameters {                 \
    __real_##call arguments;                      \
    if (failing_call == #call) *status = kFailed; \
  }
#define CLOSING(call) FAILING(call, (_NvPolComHandle * handle, int32_t * status), (handle, status))
#define ATTRIBUTES(call, Record)                                               \
  FAILING(call, (_NvPolComHandle * handle, Record * record, int32_t * status), \
          (handle, record, status))

ATTRIBUTES(nvpol_setActionAttrib, _NvPolActionAttrib const)
ATTRIBUTES(nvpol_getAddrListAttrib, _NvPolAddrListAttr)

CLOSING(nvpol_closeClassificationHive)
CLOSING(nvpol_closeClassification)
CLOSING(nvpol_closeAction)
CLOSING(nvpol_closeAddrList)
CLOSING(nvpol_closeRuleHive)
CLOSING(nvpol_closeRule)
CLOSING(nvpol_closeTask)

#define OPENING(call)                                                     \
  extern "C" _NvPolComHandle* __real_##call(_NvPolComHandle*, int32_t*);  \
  extern "C" _NvPolComHandle* __wrap_##call(_NvPolComHandle*, int32_t*);  \
  _NvPolComHandle* __wrap_##call(_NvPolComHandle* key, int32_t* status) { \
    if (failing_call != #call) return __real_##call(key, status);         \
    *status = kFailed;                                                    \
    return nullptr;                                                       \
  }

OPENING(nvpol_openClassificationHive)
OPENING(nvpol_openAddrListHive)

extern "C" _NvPolComHandle* __real_nvpol_openRuleHive(_NvPolComHandle*, int32_t, int32_t*);
extern "C" _NvPolComHandle* __wrap_nvpol_openRuleHive(_NvPolComHandle*, int32_t, int32_t*);
extern "C" void __real_nvpol_enumTask(_NvPolComHandle*, uint32_t, char*, uint32_t*, int32_t*);
extern "C" void __wrap_nvpol_enumTask(_NvPolComHandle*, uint32_t, char*, uint32_t*, int32_t*);

_NvPolComHandle* __wrap_nvpol_openRuleHive(_NvPolComHandle* key, int32_t mode, int32_t* status) {
  bool const refused = failing_call == "nvpol_openRuleHive";
  return __real_nvpol_openRuleHive(refused ? nullptr : key, mode, status);
}

// The first task's name is empty.
void __wrap_nvpol_enumTask(_NvPolComHandle* rule, uint32_t index, char* name, uint32_t* length,
                           int32_t* status) {
  __real_nvpol_enumTask(rule, index, name, length, status);
  if (failing_call == "nvpol_enumTask" && index == 0) name[*length = 0] = '\0';
}

// Numbers are of a type that nobody knows. Visible, because the linker takes the calls of libnvpol
// for wrapped ones too; they are not.
#pragma GCC visibility push(default)
extern "C" {
void __real_nvreg_enumValue(_NvPolComHandle*, uint32_t, char*, uint32_t*, _NvRegDataType*,
                            unsigned char*, uint32_t*, int32_t*);
void __wrap_nvreg_enumValue(_NvPolComHandle* key, uint32_t index, char* name, uint32_t* name_length,
                            _NvRegDataType* type, unsigned char* data, uint32_t* length,
                            int32_t* status) {
  __real_nvreg_enumValue(key, index, name, name_length, type, data, length, status);
  if (failing_call == "nvreg_enumValue" && *type == NVREG_DWORD)
    *type = static_cast<_NvRegDataType>(kUnknownType);
}
}
#pragma GCC visibility pop
