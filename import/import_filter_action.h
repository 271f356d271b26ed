// Filter actions: what the content filter does with a message. A classification is a named group of
// actions; an action has a type, and some types have settings of their own.
#pragma once

#include "nvconfigfile.h"

#include <string>

// One action as its section of a classification file has it.
struct _tag_ACTION {
  std::string name;  // also the name of its registry key
  std::string displayName;
  std::string comment;
  long order = 0;
  long actionType = 0;  // 0: the export had none
};

// The settings that go with an action type, by the tables in filter_action_keys.h.
struct _tag_QUARANTINE_SETTING {
  std::string QuarantineArea;
};
struct _tag_FORWARD_SETTING {
  std::string ForwardLists;
  std::string From;
  std::string Subject;
  std::string Content;
};
struct _tag_ARCHIVE_FOLDER_SETTING {
  std::string ArchiveFolder;
};
struct _tag_ARCHIVE_EMAIL_SETTING {
  std::string ArchiveMailAccount;
};
struct _tag_NOTIFY_EMAIL_SETTING {
  std::string Administrator;
  std::string SpecifiedAddress;
  long MailTargetType = 0;
  std::string Subject;
  long Attachment = 0;
  std::string OtherAddress;
  long BccOrCc = 0;
  std::string Content;
};

// Reads section "action" + (index + 1). `*setting` receives a new record of the type's settings,
// if it has any, which the caller gives to free_setting, also when the result is false. A section
// whose general part is incomplete is accepted as far as it could be read, without settings; false
// means an unknown action type or incomplete settings, and has been logged.
[[nodiscard]] bool read_action(NvConfigFile const& file, int index, _tag_ACTION& action,
                               void** setting);

// Writes an action and its settings, a record of its type, below the classification `classname`.
// False, after logging why, when that fails.
[[nodiscard]] bool save_action(char const* regfile, std::string const& classname,
                               _tag_ACTION& action, void const* setting);

namespace zeva {

struct PostponeSetting {
  long PostponeTime = 0;
};
struct ContentSetting {
  std::string Content;
};

// Frees what read_action has made for this action; null is nothing.
void free_setting(_tag_ACTION const& action, void* setting);

}  // namespace zeva
