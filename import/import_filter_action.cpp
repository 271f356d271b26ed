#include "import_filter_action.h"

#include "export_file.h"
#include "importers.h"
#include "list_walk.h"
#include "nvclassification.h"
#include "package_names.h"
#include "runlog.h"
#include "steps.h"

#include <stdlib.h>

#include <vector>

using namespace zeva;

namespace {

using Rows = std::vector<_tag_MAP_ITEM>;

char const kClassificationKey[] = "registry\\policy\\Classification";

// Where this installation archives, wherever the old one did.
char const kArchiveFolder[] = "/opt/norva/zeva/queue/archive";

// The keys of each kind of settings: read from the action's section, written under its own name.

Rows rows_of(PostponeSetting& setting, std::string const& section) {
  return {{section, "PostponeTime", VALUE_NUMBER, &setting.PostponeTime}};
}

Rows rows_of(_tag_QUARANTINE_SETTING& setting, std::string const& section) {
  return {{section, "QuarantineArea", VALUE_TEXT, &setting.QuarantineArea}};
}

Rows rows_of(_tag_FORWARD_SETTING& setting, std::string const& section) {
  return {{section, "ForwardLists", VALUE_TEXT, &setting.ForwardLists},
          {section, "From", VALUE_TEXT, &setting.From},
          {section, "Subject", VALUE_TEXT, &setting.Subject},
          {section, "Content", VALUE_TEXT, &setting.Content}};
}

Rows rows_of(_tag_ARCHIVE_FOLDER_SETTING& setting, std::string const& section) {
  return {{section, "ArchiveFolder", VALUE_TEXT, &setting.ArchiveFolder}};
}

Rows rows_of(_tag_ARCHIVE_EMAIL_SETTING& setting, std::string const& section) {
  return {{section, "ArchiveMailAccount", VALUE_TEXT, &setting.ArchiveMailAccount}};
}

Rows rows_of(_tag_NOTIFY_EMAIL_SETTING& setting, std::string const& section) {
  return {{section, "SpecifiedAddress", VALUE_TEXT, &setting.SpecifiedAddress},
          {section, "MailTargetType", VALUE_NUMBER, &setting.MailTargetType},
          {section, "Subject", VALUE_TEXT, &setting.Subject},
          {section, "Attachment", VALUE_NUMBER, &setting.Attachment},
          {section, "OtherAddress", VALUE_TEXT, &setting.OtherAddress},
          {section, "BccOrCc", VALUE_NUMBER, &setting.BccOrCc},
          {section, "Content", VALUE_TEXT, &setting.Content},
          {section, "Administrator", VALUE_TEXT, &setting.Administrator}};
}

Rows rows_of(ContentSetting& setting, std::string const& section) {
  return {{section, "Content", VALUE_TEXT, &setting.Content}};
}

// How many of a kind's keys, from the end, an export may lack.
template <class Setting>
constexpr int kOptionalRows = 0;
template <>
constexpr int kOptionalRows<_tag_NOTIFY_EMAIL_SETTING> = 1;

// Changes settings that this installation cannot take as they are.
template <class Setting>
void adjust(_tag_ACTION const&, Setting&) {}

void adjust(_tag_ACTION const& action, _tag_ARCHIVE_FOLDER_SETTING& setting) {
  if (setting.ArchiveFolder == kArchiveFolder) return;
  setting.ArchiveFolder = kArchiveFolder;
  // The last line has always shown the new folder, not the exported one.
  LogDebugMessage(
      "Warning: change archive folder to /opt/norva/zeva/queue/archive\n"
      "\tfilter action: %s\n\toriginal path: %s",
      action.displayName.c_str(), setting.ArchiveFolder.c_str());
}

// What the importer does with one kind of settings. A record travels as an untyped pointer and is
// made, written and freed by the functions of its action's kind.
struct SettingKind {
  // Makes a record, hands it out, and fills it.
  bool (*read)(NvConfigFile const& file, std::string const& section, void** setting);
  bool (*write)(NvPoRegistry& registry, _NvPolComHandle* key, _tag_ACTION const& action,
                void const* setting);
  void (*free)(void* setting);
};

template <class Setting>
bool read_setting(NvConfigFile const& file, std::string const& section, void** setting) {
  auto* const record = new Setting;
  *setting = record;
  Rows const rows = rows_of(*record, section);
  int const required = static_cast<int>(rows.size()) - kOptionalRows<Setting>;
  if (!read_data(file, rows.data(), required, false)) return false;
  (void)read_data(file, rows.data() + required, kOptionalRows<Setting>, true);
  return true;
}

template <class Setting>
bool write_setting(NvPoRegistry& registry, _NvPolComHandle* key, _tag_ACTION const& action,
                   void const* setting) {
  Setting record = *static_cast<Setting const*>(setting);
  adjust(action, record);
  Rows const rows = rows_of(record, "");
  return write_data(registry, key, rows.data(), static_cast<int>(rows.size()));
}

template <class Setting>
constexpr SettingKind kKind = {read_setting<Setting>, write_setting<Setting>,
                               [](void* setting) { delete static_cast<Setting*>(setting); }};

bool read_nothing(NvConfigFile const&, std::string const&, void**) {
  return true;
}

// An unnamed value, so that the key is there.
bool write_nothing(NvPoRegistry& registry, _NvPolComHandle* key, _tag_ACTION const&, void const*) {
  std::string empty;
  return write_data(registry, key, "", VALUE_TEXT, &empty);
}

constexpr SettingKind kNoSetting = {read_nothing, write_nothing, [](void*) {}};

struct {
  int type;
  SettingKind const& kind;
} const kActionTypes[] = {
    {0x10001, kNoSetting},
    {0x10002, kKind<PostponeSetting>},
    {0x10003, kKind<_tag_QUARANTINE_SETTING>},
    {0x10004, kKind<_tag_FORWARD_SETTING>},
    {0x10005, kKind<_tag_FORWARD_SETTING>},
    {0x10006, kKind<_tag_ARCHIVE_FOLDER_SETTING>},
    {0x10007, kKind<_tag_ARCHIVE_FOLDER_SETTING>},
    {0x10008, kKind<_tag_ARCHIVE_EMAIL_SETTING>},
    {0x10009, kKind<_tag_ARCHIVE_EMAIL_SETTING>},
    {0x1000A, kNoSetting},
    {0x20001, kKind<_tag_NOTIFY_EMAIL_SETTING>},
    {0x20002, kKind<ContentSetting>},
    {0x20003, kNoSetting},
    {0x20004, kNoSetting},
    {0x20005, kNoSetting},
};

// The low 32 bits of a type are what the store keeps of it. Null for an unknown type.
SettingKind const* kind_of(_tag_ACTION const& action) {
  for (auto const& row : kActionTypes) {
    if (row.type == static_cast<int>(action.actionType)) return &row.kind;
  }
  return nullptr;
}

void log_unknown_type(int code, _tag_ACTION const& action) {
  LogDebugMessage("Error [%d]: Unknown action type %d", code, static_cast<int>(action.actionType));
}

bool remove_classifications(NvClassification& classes, char const* regfile) {
  NvPoRegistry registry(regfile);
  RegistryKey key(registry, kClassificationKey, 461);
  if (!key) return false;
  std::vector<std::string> names;
  if (classes.getclassnames(names) == -1) {
    LogDebugMessage("FilterAction [%d]: %s", 467, classes.geterror().c_str());
  }
  return delete_keys(registry, key.get(), names, "Remove FilterAction error", 474);
}

bool hide_classification(char const* regfile, std::string const& name, std::string& hidden) {
  NvPoRegistry registry(regfile);
  RegistryKey key(registry, std::string(kClassificationKey) + "\\" + name, 547);
  return key && write_data(registry, key.get(), "hidden", VALUE_TEXT, &hidden);
}

bool import_action(NvConfigFile const& file, char const* regfile, std::string const& classname,
                   int index) {
  _tag_ACTION action;
  void* setting = nullptr;
  bool const done = read_action(file, index, action, &setting) &&
                    save_action(regfile, classname, action, setting);
  free_setting(action, setting);
  return done;
}

// The handles of the classifications made. They are never given back: the classifications stay open
// to the end of the process.
std::vector<_NvPolComHandle*>& open_classifications() {
  static auto* const handles = new std::vector<_NvPolComHandle*>;
  return *handles;
}

bool import_classification(NvConfigFile const& file, NvClassification& classes,
                           char const* regfile) {
  std::string hidden, name, shown_name, comment;
  long count = 0;
  _tag_MAP_ITEM const rows[] = {
      {"common", "hidden", VALUE_TEXT, &hidden},
      {"common", "actionnum", VALUE_NUMBER, &count},
      {"common", "name", VALUE_TEXT, &name},
      {"common", "DisplayName", VALUE_TEXT, &shown_name},
      {"common", "Comment", VALUE_TEXT, &comment},
  };
  if (!read_rows(file, rows)) return false;
  _NvPolComHandle* const made = classes.createclass(name, shown_name, comment);
  if (!made) {
    LogDebugMessage("FilterAction error [%d]: %s", 533, classes.geterror().c_str());
    return false;
  }
  open_classifications().push_back(made);
  if (strtol(hidden.c_str(), nullptr, 10) == 1 && !hide_classification(regfile, name, hidden)) {
    return false;
  }
  // Actions without a section are all stored over the same nameless one, so that nothing is lost by
  // leaving most of them out.
  ListWalk actions =
      ListWalk::over_sections(file, "action", static_cast<int>(count), "actions", 561);
  while (actions.next()) {
    if (!import_action(file, regfile, name, actions.number() - 1)) return false;
  }
  return true;
}

bool import_classifications(char const* dir, char const* regfile) {
  NvClassification classes("registry\\policy", regfile);
  if (!remove_classifications(classes, regfile)) return false;

  NvConfigFile index;
  if (!read_export_file(index, dir, kActionIndex, 484)) return false;
  int files = 0;
  if (!read_number(index, "common", "FileNum", files)) return false;
  for (int i = 0; i < files; ++i) {
    NvConfigFile file;
    if (!read_export_file(file, dir, numbered("action", i + 1) + ".txt", 509)) return false;
    if (!import_classification(file, classes, regfile)) return false;
  }
  return true;
}

}  // namespace

bool read_action(NvConfigFile const& file, int index, _tag_ACTION& action, void** setting) {
  std::string const section = numbered("action", index + 1);
  _tag_MAP_ITEM const rows[] = {
      {section, "name", VALUE_TEXT, &action.name},
      {section, "comment", VALUE_TEXT, &action.comment},
      {section, "displayName", VALUE_TEXT, &action.displayName},
      {section, "order", VALUE_NUMBER, &action.order},
      {section, "actionType", VALUE_NUMBER, &action.actionType},
  };
  // Half an action is kept: what it lacks can be filled in on the console.
  if (!read_rows(file, rows)) return true;
  SettingKind const* const kind = kind_of(action);
  if (!kind) {
    log_unknown_type(240, action);
    return false;
  }
  return kind->read(file, section, setting);
}

bool save_action(char const* regfile, std::string const& classname, _tag_ACTION& action,
                 void const* setting) {
  NvPoRegistry registry(regfile);
  std::string const path =
      std::string(kClassificationKey) + "\\" + classname + "\\actions\\" + action.name;
  {
    _tag_MAP_ITEM const rows[] = {
        {"", "order", VALUE_NUMBER, &action.order},
        {"", "comment", VALUE_TEXT, &action.comment},
        {"", "displayName", VALUE_TEXT, &action.displayName},
        {"", "actionType", VALUE_NUMBER, &action.actionType},
    };
    RegistryKey key(registry, path, 257);
    if (!key || !write_rows(registry, key.get(), rows)) return false;
  }
  RegistryKey key(registry, path + "\\setting", 284);
  if (!key) return false;
  SettingKind const* const kind = action.actionType == 0 ? &kNoSetting : kind_of(action);
  if (!kind) {
    log_unknown_type(437, action);
    return false;
  }
  return kind->write(registry, key.get(), action, setting);
}

void free_setting(_tag_ACTION const& action, void* setting) {
  if (SettingKind const* const kind = kind_of(action)) kind->free(setting);
}

int import_filter_action(char const* dir, char const* regfile) {
  return import_classifications(dir, regfile) ? 0 : kFilterActionsFailed;
}
