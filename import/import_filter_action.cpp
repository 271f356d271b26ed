#include "import_filter_action.h"

#include "export_file.h"
#include "filter_action_keys.h"
#include "importers.h"
#include "list_walk.h"
#include "nvclassification.h"
#include "package_names.h"
#include "runlog.h"
#include "value_table.h"

#include <stdlib.h>

#include <algorithm>
#include <iterator>
#include <vector>

using namespace zeva;

namespace {

void bind(ValueTable& values, PostponeSetting& setting) {
  values.bind<kPostponeKeys>(setting.PostponeTime);
}

void bind(ValueTable& values, _tag_QUARANTINE_SETTING& setting) {
  values.bind<kQuarantineKeys>(setting.QuarantineArea);
}

void bind(ValueTable& values, _tag_FORWARD_SETTING& setting) {
  values.bind<kForwardKeys>(setting.ForwardLists, setting.From, setting.Subject, setting.Content);
}

void bind(ValueTable& values, _tag_ARCHIVE_FOLDER_SETTING& setting) {
  values.bind<kArchiveFolderKeys>(setting.ArchiveFolder);
}

void bind(ValueTable& values, _tag_ARCHIVE_EMAIL_SETTING& setting) {
  values.bind<kArchiveEmailKeys>(setting.ArchiveMailAccount);
}

void bind(ValueTable& values, _tag_NOTIFY_EMAIL_SETTING& setting) {
  values.bind<kNotifyEmailKeys>(setting.SpecifiedAddress, setting.MailTargetType, setting.Subject,
                                setting.Attachment, setting.OtherAddress, setting.BccOrCc,
                                setting.Content, setting.Administrator);
}

void bind(ValueTable& values, ContentSetting& setting) {
  values.bind<kContentKeys>(setting.Content);
}

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
  ExportKey const* keys;  // which table of kActionTypes the record is for
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
  ValueTable values(section);
  bind(values, *record);
  return values.read(file);
}

template <class Setting>
bool write_setting(NvPoRegistry& registry, _NvPolComHandle* key, _tag_ACTION const& action,
                   void const* setting) {
  Setting record = *static_cast<Setting const*>(setting);
  adjust(action, record);
  ValueTable values("");
  bind(values, record);
  return values.write(registry, key);
}

template <class Setting>
constexpr SettingKind with(ExportKey const* keys) {
  return {keys, read_setting<Setting>, write_setting<Setting>,
          [](void* setting) { delete static_cast<Setting*>(setting); }};
}

bool read_nothing(NvConfigFile const&, std::string const&, void**) {
  return true;
}

// An unnamed value, so that the key is there.
bool write_nothing(NvPoRegistry& registry, _NvPolComHandle* key, _tag_ACTION const&, void const*) {
  std::string empty;
  return write_data(registry, key, "", VALUE_TEXT, &empty);
}

constexpr SettingKind kNoSetting = {nullptr, read_nothing, write_nothing, [](void*) {}};

constexpr SettingKind kSettingKinds[] = {
    kNoSetting,
    with<PostponeSetting>(kPostponeKeys),
    with<_tag_QUARANTINE_SETTING>(kQuarantineKeys),
    with<_tag_FORWARD_SETTING>(kForwardKeys),
    with<_tag_ARCHIVE_FOLDER_SETTING>(kArchiveFolderKeys),
    with<_tag_ARCHIVE_EMAIL_SETTING>(kArchiveEmailKeys),
    with<_tag_NOTIFY_EMAIL_SETTING>(kNotifyEmailKeys),
    with<ContentSetting>(kContentKeys),
};

// The low 32 bits of a type are what the store keeps of it. Null for an unknown type.
SettingKind const* kind_of(_tag_ACTION const& action) {
  auto const type =
      std::ranges::find(kActionTypes, static_cast<int>(action.actionType), &ActionType::type);
  if (type == std::end(kActionTypes)) return nullptr;
  auto const kind = std::ranges::find(kSettingKinds, type->keys.data(), &SettingKind::keys);
  return kind == std::end(kSettingKinds) ? nullptr : kind;
}

void log_unknown_type(int code, _tag_ACTION const& action) {
  LogDebugMessage("Error [%d]: Unknown action type %d", code, static_cast<int>(action.actionType));
}

bool remove_classifications(NvClassification& classes, char const* regfile) {
  NvPoRegistry registry(regfile);
  RegistryKey key(registry, kClass.stored_in, 461);
  if (!key) return false;
  std::vector<std::string> names;
  if (classes.getclassnames(names) == -1) {
    LogDebugMessage("FilterAction [%d]: %s", 467, classes.geterror().c_str());
  }
  return delete_keys(registry, key.get(), names, "Remove FilterAction error", 474);
}

bool hide_classification(char const* regfile, std::string const& name, std::string& hidden) {
  NvPoRegistry registry(regfile);
  RegistryKey key(registry, kClass.stored_in + ("\\" + name), 547);
  return key && write_data(registry, key.get(), kClassHidden.name, kClassHidden.type, &hidden);
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
  ValueTable values(kClass);
  if (!values.read(file)) return false;
  std::string const& name = values.text(kClassName);
  _NvPolComHandle* const made =
      classes.createclass(name, values.text(kClassShownName), values.text(kClassComment));
  if (!made) {
    LogDebugMessage("FilterAction error [%d]: %s", 533, classes.geterror().c_str());
    return false;
  }
  open_classifications().push_back(made);
  std::string& hidden = values.text(kClassHidden);
  if (strtol(hidden.c_str(), nullptr, 10) == 1 && !hide_classification(regfile, name, hidden)) {
    return false;
  }
  // Actions without a section are all stored over the same nameless one, so that nothing is lost by
  // leaving most of them out.
  ListWalk actions =
      ListWalk::over_sections(file, kAction.name, values.count(kActionCount), "actions", 561);
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
  if (!read_number(index, kCommon, kActionFileCount, files)) return false;
  for (int i = 0; i < files; ++i) {
    NvConfigFile file;
    if (!read_export_file(file, dir, numbered(kActionFile, i + 1), 509)) return false;
    if (!import_classification(file, classes, regfile)) return false;
  }
  return true;
}

}  // namespace

bool read_action(NvConfigFile const& file, int index, _tag_ACTION& action, void** setting) {
  std::string const section = numbered(kAction.name, index + 1);
  ValueTable values(section);
  values.bind<kActionKeys>(action.name, action.comment, action.displayName, action.order,
                           action.actionType);
  // Half an action is kept: what it lacks can be filled in on the console.
  if (!values.read(file)) return true;
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
      std::string(kAction.stored_in) + "\\" + classname + "\\actions\\" + action.name;
  {
    ValueTable values("");
    values.bind<kStoredActionKeys>(action.order, action.comment, action.displayName,
                                   action.actionType);
    RegistryKey key(registry, path, 257);
    if (!key || !values.write(registry, key.get())) return false;
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

void zeva::free_setting(_tag_ACTION const& action, void* setting) {
  if (SettingKind const* const kind = kind_of(action)) kind->free(setting);
}

int import_filter_action(char const* dir, char const* regfile) {
  return import_classifications(dir, regfile) ? 0 : kFilterActionsFailed;
}
