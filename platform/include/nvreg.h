/*
 * The C interface of the gateway's registry library, libnvreg: a tree of keys that hold named,
 * typed values, kept by the registry server and shared by all its clients.
 *
 * On a gateway this is the interface of the gateway's own library; elsewhere the bundled libnvreg
 * offers the same calls. All calls block until the server has answered.
 *
 * Status. The last argument of every call receives a signed status: 0 is success, a negative number
 * is one of the NVREG_ codes below. It must not be null. A call that returns a handle returns null
 * on failure. On failure nothing else is written, except where a call says so.
 *
 * Handles are made by nvreg_open, nvreg_openKey and nvreg_createKey and belong to the caller, who
 * gives each back once. A key handle is a connection and a path: it stays valid when its key is
 * deleted (calls then answer NVREG_NOT_FOUND) and when its registry handle is closed first. A
 * registry handle and its keys are for one thread at a time.
 *
 * Paths are components joined by backslashes, relative to the key they are given with. Empty
 * components count for nothing, so "a\\\\b\\" is "a\\b", and an empty path is the key itself. Names
 * are compared byte by byte and may hold any byte but NUL and the backslash; a value's name may be
 * empty. Subkeys and values keep the order of their creation; setting a value that exists keeps its
 * place.
 *
 * A value's data is its bytes, of a length of their own: a string's and a multi-string's
 * terminators are part of the data when the writer has passed them, and only then.
 */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define NVREG_API __attribute__((visibility("default")))
#else
#define NVREG_API
#endif

/* An open registry, key or policy object. Opaque. */
typedef struct _NvPolComHandle _NvPolComHandle;

/* Value types; the numbers are stored and exchanged. */
typedef enum _NvRegDataType {
  NVREG_DWORD = 0,       /* unsigned 32-bit number in host order, exactly 4 bytes */
  NVREG_STRING = 1,      /* text */
  NVREG_BINARY = 2,      /* bytes */
  NVREG_MULTISTRING = 3, /* NUL-terminated texts one after the other, an empty one ends the list */
  NVREG_ANY_TYPE =
      0x7FFFFFFF /* not a type: gives the enumeration room for numbers not known here */
} _NvRegDataType;

/* Ceilings, in bytes without terminator. Beyond them a call fails with the status beside them. */
#define NVREG_MAX_NAME 1024u     /* NVREG_NAME_TOO_LONG; also for a component of a path */
#define NVREG_MAX_PATH 1048576u  /* NVREG_PATH_TOO_LONG; counted from the root */
#define NVREG_MAX_VALUE 1048576u /* NVREG_VALUE_TOO_LONG */

/* Status codes. The migration's importers rely on NVREG_END_OF_LIST and the sign only; the wrappers
 * of policy objects besides on NVREG_NOT_FOUND (an outcome that a task does not have),
 * NVREG_BUFFER_TOO_SMALL (a longer text), NVPOL_BAD_FORMAT, NVPOL_BAD_LINE (an address file). */
#define NVREG_OK 0
#define NVREG_STATUS_CODE(number) ((int32_t)(0x81020000u | (number)))
#define NVREG_NO_SERVER NVREG_STATUS_CODE(0x01u)        /* nobody answers at the address */
#define NVREG_REFUSED NVREG_STATUS_CODE(0x02u)          /* no proof that both know the cookie */
#define NVREG_NOT_FOUND NVREG_STATUS_CODE(0x03u)        /* no such key or value */
#define NVREG_BUFFER_TOO_SMALL NVREG_STATUS_CODE(0x04u) /* length says what it takes */
#define NVREG_MALFORMED NVREG_STATUS_CODE(0x05u)        /* request or answer not understood */
#define NVREG_STORE_DAMAGED NVREG_STATUS_CODE(0x06u)    /* the store's files cannot be trusted */
#define NVREG_STORE_WRITE NVREG_STATUS_CODE(0x07u)      /* the store's files cannot be written */
#define NVREG_NAME_TOO_LONG NVREG_STATUS_CODE(0x08u)
#define NVREG_PATH_TOO_LONG NVREG_STATUS_CODE(0x09u)
#define NVREG_VALUE_TOO_LONG NVREG_STATUS_CODE(0x0Au)
#define NVREG_FRAME_TOO_LONG NVREG_STATUS_CODE(0x0Bu)
#define NVREG_END_OF_LIST NVREG_STATUS_CODE(0x0Cu)  /* no item at this index */
#define NVREG_BAD_ARGUMENT NVREG_STATUS_CODE(0x0Du) /* null handle, bad type or length */
#define NVREG_BAD_NAME NVREG_STATUS_CODE(0x0Eu)     /* refused as a name */
#define NVREG_EXISTS NVREG_STATUS_CODE(0x0Fu)       /* nvpol: an object of that name exists */
#define NVREG_NO_MEMORY NVREG_STATUS_CODE(0x10u)    /* this process is out of memory */

/*
 * Opens the registry at an address.
 *   `mode`   1, read and write; anything else is NVREG_BAD_ARGUMENT
 *   `file`   the address: "ZEVA:" and the server's port in decimal, as in "ZEVA:5069"
 *   `root`   receives a handle of the root key, to be given back with nvreg_closeKey
 * Returns the registry handle, to be given back with nvreg_close.
 * The bundled library connects to 127.0.0.1. It and the server prove to each other that they know
 * the cookie that the server left under the home's config folder (home: ZEVA_HOME, or
 * "/opt/norva/zeva" when unset); who does not know it is told nothing (NVREG_REFUSED).
 */
NVREG_API _NvPolComHandle* nvreg_open(int32_t mode, const char* file, _NvPolComHandle** root,
                                      int32_t* status);

/* Answers once every change made so far is on the disk. */
NVREG_API void nvreg_refresh(_NvPolComHandle* registry, int32_t* status);

/* As nvreg_refresh, then gives the handle back, also when the refresh fails. */
NVREG_API void nvreg_close(_NvPolComHandle* registry, int32_t* status);

/* Opens the key at a path below `parent`; NVREG_NOT_FOUND when it is not there. */
NVREG_API _NvPolComHandle* nvreg_openKey(_NvPolComHandle* parent, const char* path,
                                         int32_t* status);

/* As nvreg_openKey, making the key and every key on the way from `parent` to it that is missing. */
NVREG_API _NvPolComHandle* nvreg_createKey(_NvPolComHandle* parent, const char* path,
                                           int32_t* status);

/* Gives a key's handle back. */
NVREG_API void nvreg_closeKey(_NvPolComHandle* key, int32_t* status);

/* Deletes the key at a path below `parent` with all that is below it. An empty path, and so the
 * parent itself, is NVREG_BAD_ARGUMENT. */
NVREG_API void nvreg_deleteKey(_NvPolComHandle* parent, const char* path, int32_t* status);

/* Deletes a value; NVREG_NOT_FOUND when the key has none of that name. */
NVREG_API void nvreg_deleteValue(_NvPolComHandle* key, const char* name, int32_t* status);

/* Stores a value under a name, replacing type and data of one that exists. `length` is in bytes;
 * `data` may be null when it is 0. The data is in the store's log when the call is back. */
NVREG_API void nvreg_setValue(_NvPolComHandle* key, const char* name, _NvRegDataType type,
                              const unsigned char* data, uint32_t length, int32_t* status);

/* Reads a value. `length`: capacity of `data` on entry, the length of the value afterwards, also
 * with NVREG_BUFFER_TOO_SMALL, which writes `length` and `type` but no `data`. */
NVREG_API void nvreg_queryValue(_NvPolComHandle* key, const char* name, _NvRegDataType* type,
                                unsigned char* data, uint32_t* length, int32_t* status);

/* Reads the name of the index-th subkey, from 0; NVREG_END_OF_LIST past the last one.
 * `name_length`: capacity of `name` on entry, the length of the name without its NUL afterwards.
 * A name that does not fit with its NUL is NVREG_BUFFER_TOO_SMALL and writes the length only. */
NVREG_API void nvreg_enumSubkey(_NvPolComHandle* key, uint32_t index, char* name,
                                uint32_t* name_length, int32_t* status);

/* Reads the index-th value, from 0: `name` as in nvreg_enumSubkey, `type` and `data` as in
 * nvreg_queryValue. When `name` or `data` does not fit, both lengths and the type are written. */
NVREG_API void nvreg_enumValue(_NvPolComHandle* key, uint32_t index, char* name,
                               uint32_t* name_length, _NvRegDataType* type, unsigned char* data,
                               uint32_t* length, int32_t* status);

#ifdef __cplusplus
}
#endif
