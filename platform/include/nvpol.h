/*
 * The C interface of the gateway's policy library, libnvpol: the policy tree of the registry seen
 * as objects. Classifications hold actions, rules hold sub-rules, tasks and conditions, address
 * lists hold addresses.
 *
 * On a gateway this is the interface of the gateway's own library; elsewhere the bundled libnvpol
 * offers the same calls over nvreg.h.
 *
 * Status. As in nvreg.h: the last argument of every call, 0 or a negative NVREG_ code, never null.
 * A call that returns a handle returns null on failure. On failure nothing else is written, except
 * where a call says so. A status of the registry that a call needs is passed on as it is.
 *
 * Handles belong to the caller, who gives each back once with the close call of its kind. An object
 * may be deleted while handles of it are open; calls on them then answer NVREG_NOT_FOUND.
 *
 * Names. An object's internal name is unique among its siblings. Creating one refuses an empty
 * name, one with a backslash and one of NVPOL_NAME_SIZE bytes or more (NVREG_BAD_NAME), and one
 * that exists (NVREG_EXISTS).
 *
 * Enumerations take an index from 0 and answer NVREG_END_OF_LIST past the last item; items keep the
 * order of their creation. A text buffer comes with a length: its capacity on entry, the length of
 * the text without its NUL afterwards. A text that does not fit with its NUL is
 * NVREG_BUFFER_TOO_SMALL and writes the lengths only. Deleting an item moves the ones behind it
 * forward by one.
 *
 * Attribute records have fixed text fields: a text ends at its first NUL or at the field's last
 * byte, so a full field bears no terminator. Reading cuts a longer stored text at the field's size;
 * an attribute that is not stored, or not as its type, reads as empty or 0.
 */
#pragma once

#include "nvreg.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define NVPOL_NAME_SIZE 128u         /* bytes of an internal name with its NUL */
#define NVPOL_DISPLAY_NAME_SIZE 256u /* bytes of a record's display name */
#define NVPOL_COMMENT_SIZE 512u      /* bytes of a record's comment */
#define NVPOL_ADDRESS_SIZE 512u      /* bytes of one side of a condition */

/* A status beside those of nvreg.h. nvpol_importAddress: the file is no list of addresses. */
#define NVPOL_BAD_FORMAT NVREG_STATUS_CODE(0x11u)

/* The same, with the first line that is none, from 1: a range of statuses, since a status is all
 * that the call gives. NVPOL_LINE_OF is 0 for every other status, of whatever library. */
#define NVPOL_BAD_LINE(line) ((int32_t)(0x88000000u | ((line)&0x07FFFFFFu)))
#define NVPOL_LINE_OF(status) \
  ((uint32_t)(status) >> 27 == 0x11u ? (uint32_t)(status)&0x07FFFFFFu : 0u)

/* Attributes of a classification. */
typedef struct _NvPolCommAttrib {
  char displayName[NVPOL_DISPLAY_NAME_SIZE];
  char comment[NVPOL_COMMENT_SIZE];
} _NvPolCommAttrib;

/* Attributes of an action. */
typedef struct _NvPolActionAttrib {
  char displayName[NVPOL_DISPLAY_NAME_SIZE];
  char comment[NVPOL_COMMENT_SIZE];
  int32_t order;      /* position among the classification's actions */
  int32_t actionType; /* what the action does, 0x10001 and up */
  int32_t extra;      /* kept for the caller */
} _NvPolActionAttrib;

/* Attributes of a rule. */
typedef struct _NvPolRuleAttr {
  char displayName[NVPOL_DISPLAY_NAME_SIZE];
  char comment[NVPOL_COMMENT_SIZE];
  int32_t order;      /* position among the parent's rules */
  uint32_t matchType; /* how the conditions select mail */
} _NvPolRuleAttr;

/* Attributes of a task. */
typedef struct _NvPolTaskAttr {
  char displayName[NVPOL_DISPLAY_NAME_SIZE];
  char comment[NVPOL_COMMENT_SIZE];
  int32_t order;       /* position among the rule's tasks */
  uint32_t filter;     /* the scanning module that runs it, 0x10001 and up */
  int32_t enable;      /* 1 enabled, 0 disabled */
  int32_t overridable; /* 1 if a lower rule may override the task */
  int32_t reserved;    /* 0; neither stored nor read */
} _NvPolTaskAttr;

/* One condition of a rule: which mail it is for. */
typedef struct _NvPolAddrPairCond {
  char sender[NVPOL_ADDRESS_SIZE];    /* an address or an address list's name; no ";" */
  char recipient[NVPOL_ADDRESS_SIZE]; /* the same; may hold a ";" */
} _NvPolAddrPairCond;

/* Attributes of an address list. */
typedef struct _NvPolAddrListAttr {
  char displayName[NVPOL_DISPLAY_NAME_SIZE];
  char comment[NVPOL_COMMENT_SIZE];
  int32_t order;
  uint32_t addressCount; /* filled by nvpol_getAddrListAttrib, ignored when creating and setting */
} _NvPolAddrListAttr;

/* What nvpol_checkReferInRule looks for. */
#define NVPOL_REFER_CLASSIFICATION 1
#define NVPOL_REFER_ADDRESS_LIST 2

/*
 * Hives. Each is opened on an open registry key, that of "registry\policy" on a gateway. Opening
 * changes nothing: a key that holds no object of the kind is an empty hive. The key may be closed
 * before the hive.
 */

NVREG_API _NvPolComHandle* nvpol_openClassificationHive(_NvPolComHandle* regkey, int32_t* status);
NVREG_API void nvpol_closeClassificationHive(_NvPolComHandle* hive, int32_t* status);

/* `mode`: 0, anything else is NVREG_BAD_ARGUMENT. */
NVREG_API _NvPolComHandle* nvpol_openRuleHive(_NvPolComHandle* regkey, int32_t mode,
                                              int32_t* status);
NVREG_API void nvpol_closeRuleHive(_NvPolComHandle* hive, int32_t* status);

NVREG_API _NvPolComHandle* nvpol_openAddrListHive(_NvPolComHandle* regkey, int32_t* status);
NVREG_API void nvpol_closeAddrListHive(_NvPolComHandle* hive, int32_t* status);

/*
 * Looks whether any rule refers to an object, the root rule first, then each rule before its
 * sub-rules.
 *   `regkey` the key on which the hives are opened
 *   `kind`   NVPOL_REFER_CLASSIFICATION: an outcome of a task has the value `iname`;
 *            NVPOL_REFER_ADDRESS_LIST: a condition has `iname` as its sender or its recipient
 *   `name`   receives the internal name of the first rule that refers to it
 * Returns 1 when one does, 0 when none does or on failure. A rule's name that does not fit is cut
 * to what fits with its NUL: the answer is not lost for it.
 */
NVREG_API int32_t nvpol_checkReferInRule(_NvPolComHandle* regkey, int32_t kind, const char* iname,
                                         char* name, uint32_t* name_length, int32_t* status);

/* Classifications. */

NVREG_API void nvpol_enumClassification(_NvPolComHandle* hive, uint32_t index, char* name,
                                        uint32_t* name_length, int32_t* status);
NVREG_API _NvPolComHandle* nvpol_openClassification(_NvPolComHandle* hive, const char* iname,
                                                    int32_t* status);
/* Returns the new classification's handle, open. */
NVREG_API _NvPolComHandle* nvpol_createClassification(_NvPolComHandle* hive, const char* iname,
                                                      const _NvPolCommAttrib* attrib,
                                                      int32_t* status);
NVREG_API void nvpol_closeClassification(_NvPolComHandle* classification, int32_t* status);
NVREG_API void nvpol_getClassificationAttrib(_NvPolComHandle* classification,
                                             _NvPolCommAttrib* attrib, int32_t* status);
NVREG_API void nvpol_setClassificationAttrib(_NvPolComHandle* classification,
                                             const _NvPolCommAttrib* attrib, int32_t* status);
/* Deletes it with its actions, whether or not a rule refers to it. */
NVREG_API void nvpol_deleteClassification(_NvPolComHandle* hive, const char* iname,
                                          int32_t* status);

/* Actions of a classification. */

NVREG_API void nvpol_enumAction(_NvPolComHandle* classification, uint32_t index, char* name,
                                uint32_t* name_length, int32_t* status);
NVREG_API _NvPolComHandle* nvpol_openAction(_NvPolComHandle* classification, const char* iname,
                                            int32_t* status);
/* Returns the new action's handle, open. */
NVREG_API _NvPolComHandle* nvpol_createAction(_NvPolComHandle* classification, const char* iname,
                                              const _NvPolActionAttrib* attrib, int32_t* status);
NVREG_API void nvpol_closeAction(_NvPolComHandle* action, int32_t* status);
NVREG_API void nvpol_getActionAttrib(_NvPolComHandle* action, _NvPolActionAttrib* attrib,
                                     int32_t* status);
NVREG_API void nvpol_setActionAttrib(_NvPolComHandle* action, const _NvPolActionAttrib* attrib,
                                     int32_t* status);
NVREG_API void nvpol_deleteAction(_NvPolComHandle* classification, const char* iname,
                                  int32_t* status);

/* Rules. */

/* The rule above all others; NVREG_NOT_FOUND in a store that has none. */
NVREG_API _NvPolComHandle* nvpol_openRootRule(_NvPolComHandle* hive, int32_t* status);

/* `full_name`: names from below the root rule down to the rule, joined by backslashes; a leading
 * backslash, as policy paths bear it ("\\Sales\\Team"), changes nothing, and "\\" is the root
 * rule. */
NVREG_API _NvPolComHandle* nvpol_openRuleByFullName(_NvPolComHandle* hive, const char* full_name,
                                                    int32_t* status);

NVREG_API _NvPolComHandle* nvpol_openRule(_NvPolComHandle* parent, const char* name,
                                          int32_t* status);

/* `conditions`: `count` pointers, stored in their order; null will do for none. A sender with a
 * ";" is NVREG_BAD_NAME. Returns the new rule's handle, open. */
NVREG_API _NvPolComHandle* nvpol_createRule(_NvPolComHandle* parent, const char* name,
                                            const _NvPolRuleAttr* attrib,
                                            _NvPolAddrPairCond* const* conditions, uint32_t count,
                                            int32_t* status);
NVREG_API void nvpol_closeRule(_NvPolComHandle* rule, int32_t* status);

/* Deletes it with its tasks and all rules below it. */
NVREG_API void nvpol_deleteRule(_NvPolComHandle* parent, const char* name, int32_t* status);
NVREG_API void nvpol_enumRule(_NvPolComHandle* parent, uint32_t index, char* name,
                              uint32_t* name_length, int32_t* status);
NVREG_API void nvpol_getRuleAttrib(_NvPolComHandle* rule, _NvPolRuleAttr* attrib, int32_t* status);
NVREG_API void nvpol_setRuleAttrib(_NvPolComHandle* rule, const _NvPolRuleAttr* attrib,
                                   int32_t* status);

/* Sets the order of one rule; its siblings keep theirs. */
NVREG_API void nvpol_setRuleOrder(_NvPolComHandle* parent, const char* name, int32_t order,
                                  int32_t* status);

/* Conditions of a rule. Adding does not look for an equal one; removing takes away the first one
 * that is enumerated as equal, NVREG_NOT_FOUND when there is none. */

NVREG_API void nvpol_addCondition(_NvPolComHandle* rule, const _NvPolAddrPairCond* condition,
                                  int32_t* status);
NVREG_API void nvpol_removeCondition(_NvPolComHandle* rule, const _NvPolAddrPairCond* condition,
                                     int32_t* status);
NVREG_API void nvpol_enumCondition(_NvPolComHandle* rule, uint32_t index,
                                   _NvPolAddrPairCond* condition, int32_t* status);

/* Tasks of a rule. */

NVREG_API void nvpol_enumTask(_NvPolComHandle* rule, uint32_t index, char* name,
                              uint32_t* name_length, int32_t* status);
NVREG_API _NvPolComHandle* nvpol_openTask(_NvPolComHandle* rule, const char* name, int32_t* status);
/* Returns the new task's handle, open. */
NVREG_API _NvPolComHandle* nvpol_createTask(_NvPolComHandle* rule, const char* name,
                                            const _NvPolTaskAttr* attrib, int32_t* status);
NVREG_API void nvpol_closeTask(_NvPolComHandle* task, int32_t* status);
NVREG_API void nvpol_deleteTask(_NvPolComHandle* rule, const char* name, int32_t* status);
NVREG_API void nvpol_getTaskAttrib(_NvPolComHandle* task, _NvPolTaskAttr* attrib, int32_t* status);
NVREG_API void nvpol_setTaskAttrib(_NvPolComHandle* task, const _NvPolTaskAttr* attrib,
                                   int32_t* status);

/* Sets the order of one task; its siblings keep theirs. */
NVREG_API void nvpol_setTaskOrder(_NvPolComHandle* rule, const char* name, int32_t order,
                                  int32_t* status);

/* Enters a task's name into the rule's list of inactive tasks (inactive not 0) or takes it out (0);
 * no change when it is so already. The task may be one that the rule inherits. */
NVREG_API void nvpol_inactivateTask(_NvPolComHandle* rule, const char* name, int32_t inactive,
                                    int32_t* status);

/* Returns 1 when the rule does not list the task as inactive, 0 when it does or on failure. */
NVREG_API int32_t nvpol_isTaskActive(_NvPolComHandle* rule, const char* name, int32_t* status);

/* Outcomes of a task: which classification handles what the task finds. `name` is the finding's,
 * `value` the classification's. */

/* Replaces the value of an outcome that exists. `name` is refused as an object's. */
NVREG_API void nvpol_addOutcome(_NvPolComHandle* task, const char* name, const char* value,
                                int32_t* status);
NVREG_API void nvpol_deleteOutcome(_NvPolComHandle* task, const char* name, int32_t* status);
NVREG_API void nvpol_enumOutcome(_NvPolComHandle* task, uint32_t index, char* name,
                                 uint32_t* name_length, char* value, uint32_t* value_length,
                                 int32_t* status);
/* NVREG_NOT_FOUND when the task has no such outcome. */
NVREG_API void nvpol_getOutcome(_NvPolComHandle* task, const char* name, char* value,
                                uint32_t* value_length, int32_t* status);

/* Address lists. */

NVREG_API void nvpol_enumAddrList(_NvPolComHandle* hive, uint32_t index, char* name,
                                  uint32_t* name_length, int32_t* status);
NVREG_API _NvPolComHandle* nvpol_openAddrList(_NvPolComHandle* hive, const char* iname,
                                              int32_t* status);
/* Returns the new list's handle, open. */
NVREG_API _NvPolComHandle* nvpol_createAddrList(_NvPolComHandle* hive, const char* iname,
                                                const _NvPolAddrListAttr* attrib, int32_t* status);
NVREG_API void nvpol_closeAddrList(_NvPolComHandle* list, int32_t* status);
NVREG_API void nvpol_getAddrListAttrib(_NvPolComHandle* list, _NvPolAddrListAttr* attrib,
                                       int32_t* status);
NVREG_API void nvpol_setAddrListAttrib(_NvPolComHandle* list, const _NvPolAddrListAttr* attrib,
                                       int32_t* status);
/* Deletes it with its addresses, whether or not a rule refers to it. */
NVREG_API void nvpol_deleteAddrList(_NvPolComHandle* hive, const char* iname, int32_t* status);

/* Addresses of a list, in the order of their insertion. */

/* Any text but an empty one (NVREG_BAD_NAME); one that the list holds already is held twice. */
NVREG_API void nvpol_insertAddress(_NvPolComHandle* list, const char* address, int32_t* status);

/* Removes the first equal address; NVREG_NOT_FOUND when there is none. */
NVREG_API void nvpol_removeAddress(_NvPolComHandle* list, const char* address, int32_t* status);
NVREG_API void nvpol_enumAddress(_NvPolComHandle* list, uint32_t index, char* address,
                                 uint32_t* address_length, int32_t* status);

/*
 * Inserts the addresses of a text file: lines of fields that are separated by commas or semicolons,
 * each field an address: one "@" with text on both sides, no blank, "<" or ">". Blanks around a
 * field, empty fields, double quotes around an address, a carriage return at a line's end and a
 * byte order mark (UTF-8) at the file's beginning count for nothing. Nothing is inserted unless the
 * whole file reads so and the store can hold each address (NVPOL_BAD_LINE, or NVPOL_BAD_FORMAT when
 * the file is too long to be one); a store that fails half way keeps those before. NVREG_NOT_FOUND
 * when the file cannot be read.
 */
NVREG_API void nvpol_importAddress(_NvPolComHandle* list, const char* file, int32_t* status);

#ifdef __cplusplus
}
#endif
