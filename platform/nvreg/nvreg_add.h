// What the bundled libnvreg offers to the bundled libnvpol beyond nvreg.h: several clients that
// lengthen one list, or make an object of one name, need a look and a change that nobody comes
// between.
#pragma once

#include "nvreg.h"

// As nvreg_setValue, but only while the key has no value of that name (NVREG_EXISTS) and, unless
// `after` is null, has one of that name (NVREG_NOT_FOUND).
extern "C" NVREG_API void nvreg_addValue(_NvPolComHandle* key, const char* name, const char* after,
                                         _NvRegDataType type, const unsigned char* data,
                                         uint32_t length, int32_t* status);

// As nvreg_createKey, but only while there is no such key (NVREG_EXISTS).
extern "C" NVREG_API _NvPolComHandle* nvreg_addKey(_NvPolComHandle* parent, const char* path,
                                                   int32_t* status);
