#include "nvclassification.h"

#include "textfield.h"

#include <algorithm>

using zeva::fill_field;
using zeva::read_field;

namespace {

_NvPolCommAttrib class_record(std::string const& displayname, std::string const& comment) {
  _NvPolCommAttrib record;
  fill_field(record.displayName, displayname);
  fill_field(record.comment, comment);
  return record;
}

_NvPolActionAttrib action_record(Nvactionattr const& attr) {
  _NvPolActionAttrib record{};
  fill_field(record.displayName, attr.displayname);
  fill_field(record.comment, attr.comment);
  record.order = attr.order;
  record.actionType = attr.actiontype;
  record.extra = attr.extra;
  return record;
}

// "BI 0a ff ", "MS one;two;"
std::string joined(std::string text, std::vector<std::string> const& parts, char const* end) {
  for (std::string const& part : parts) text += part + end;
  return text;
}

// The names of classifications and actions, whose size is fixed: a longer one ends the list.
int32_t list_names(zeva::Enumerator next, _NvPolComHandle* parent, std::vector<std::string>& names,
                   bool& at_first) {
  return zeva::append_names(next, parent, names, at_first, NVPOL_NAME_SIZE);
}

}  // namespace

NvClassification::NvClassification(std::string const& key, std::string const& file) {
  setfile(key, file);
}

void NvClassification::setfile(std::string const& key, std::string const& file) {
  if (regkey_) closeclasshive();
  if (!open_key(key, file)) return;
  int32_t status = 0;
  hive_ = nvpol_openClassificationHive(regkey_, &status);
  if (!hive_) seterrorname("REG_FAIL2", "nvpol_openclassificationHive", status);
}

void NvClassification::closeclasshive() {
  if (hive_) {
    int32_t status = 0;
    nvpol_closeClassificationHive(hive_, &status);
    hive_ = nullptr;
    check(status, "nvpol_closeClassificationHive");
  }
  close_key();
}

int NvClassification::getclassnames(std::vector<std::string>& names) {
  if (missing(hive_, "getclassnames: ahive")) return -1;
  bool at_first = false;
  int32_t status = list_names(nvpol_enumClassification, hive_, names, at_first);
  if (!at_first) return 0;
  if (status != NVREG_END_OF_LIST) return check(status, "nvpol_enumClassification");
  seterrorname("REG_EMPTY", "Classification list");
  return -1;
}

_NvPolComHandle* NvClassification::openclass(std::string const& iname) {
  if (missing(hive_, "openclass: ahive")) return nullptr;
  int32_t status = 0;
  _NvPolComHandle* phdl = nvpol_openClassification(hive_, iname.c_str(), &status);
  if (!phdl) seterrorname("REG_FAIL", "nvpol_openClassification ", iname, status);
  return phdl;
}

_NvPolComHandle* NvClassification::createclass(std::string const& iname,
                                               std::string const& displayname,
                                               std::string const& comment) {
  if (missing(iname, "createclass: iname")) return nullptr;
  if (missing(hive_, "createclass: ahive")) return nullptr;
  _NvPolCommAttrib const record = class_record(displayname, comment);
  int32_t status = 0;
  _NvPolComHandle* phdl = nvpol_createClassification(hive_, iname.c_str(), &record, &status);
  return check_named(status, "nvpol_createClassification ", iname) == 0 ? phdl : nullptr;
}

int NvClassification::closeclass(_NvPolComHandle*& phdl) {
  int32_t status = 0;
  nvpol_closeClassification(phdl, &status);
  phdl = nullptr;
  return check(status, "nvpol_closeClassification");
}

int NvClassification::deleteclass(std::string const& iname) {
  if (missing(iname, "deleteclass: iname")) return -1;
  if (missing(hive_, "deleteclass: ahive\n")) return -1;
  if (referred(NVPOL_REFER_CLASSIFICATION, iname)) return -1;
  int32_t status = 0;
  nvpol_deleteClassification(hive_, iname.c_str(), &status);
  return check_named(status, "nvpol_deleteClassification", iname);
}

int NvClassification::getclassattr(_NvPolComHandle* phdl, std::string& displayname,
                                   std::string& comment) {
  if (missing(phdl, "getclassattr: phdl")) return -1;
  _NvPolCommAttrib record{};
  int32_t status = 0;
  nvpol_getClassificationAttrib(phdl, &record, &status);
  if (check(status, "nvpol_getClassificationAttrib") != 0) return -1;
  if (missing(read_field(record.displayName), "getclassattr: get displayname")) return -1;
  displayname = read_field(record.displayName);
  comment = read_field(record.comment);
  return 0;
}

int NvClassification::setclassattr(_NvPolComHandle* phdl, std::string const& displayname,
                                   std::string const& comment) {
  if (missing(phdl, "setclassattr: phdl")) return -1;
  _NvPolCommAttrib const record = class_record(displayname, comment);
  int32_t status = 0;
  nvpol_setClassificationAttrib(phdl, &record, &status);
  return check(status, "nvpol_setClassificationAttrib");
}

int NvClassification::setclassification(std::string const& iname, Nvclassifattr const& classifattr,
                                        std::vector<std::string> const&,
                                        std::vector<Nvactionattr> const&) {
  _NvPolComHandle* phdl = openclass(iname);
  if (!phdl) phdl = createclass(iname, classifattr.displayname, classifattr.comment);
  if (!phdl) return -1;
  int const result = setclassattr(phdl, classifattr.displayname, classifattr.comment);
  int const closed = closeclass(phdl);
  return std::min(result, closed);
}

int NvClassification::getactionnames(_NvPolComHandle* phdl, std::vector<std::string>& names) {
  bool at_first = false;
  int32_t status = list_names(nvpol_enumAction, phdl, names, at_first);
  if (!at_first) return 0;
  if (status != NVREG_END_OF_LIST) return check_named(status, "nvpol_enumAction", "");
  seterrorname("REG_EMPTY", "getactionnames: action list");
  return -1;
}

int NvClassification::getactionnames(std::string const& iname, std::vector<std::string>& names) {
  _NvPolComHandle* phdl = openclass(iname);
  if (missing(phdl, "getactionnames: phdl")) return -1;
  int const result = getactionnames(phdl, names);
  int const closed = closeclass(phdl);
  return std::min(result, closed);
}

_NvPolComHandle* NvClassification::createaction(_NvPolComHandle* hive, std::string const& iname,
                                                Nvactionattr const& attr) {
  if (missing(hive, "createaction: ahive")) return nullptr;
  if (missing(iname, "createaction: iname")) return nullptr;
  _NvPolActionAttrib const record = action_record(attr);
  int32_t status = 0;
  _NvPolComHandle* action = nvpol_createAction(hive, iname.c_str(), &record, &status);
  return check_named(status, "nvpol_createAction ", iname) == 0 ? action : nullptr;
}

// Runs `work` on the action and closes it, whatever came of the work.
template <class Work>
int NvClassification::with_action(_NvPolComHandle* phdl, std::string const& iname, Work work) {
  int32_t status = 0;
  _NvPolComHandle* action = nvpol_openAction(phdl, iname.c_str(), &status);
  if (!action) {
    seterrorname("REG_FAIL", "nvpol_openAction", iname, status);
    return -1;
  }
  int const result = work(action);
  status = 0;
  nvpol_closeAction(action, &status);
  int const closed = check(status, "nvpol_closeAction");
  return std::min(result, closed);
}

int NvClassification::getaction(_NvPolComHandle* phdl, std::string const& iname,
                                Nvactionattr& attr) {
  if (missing(phdl, "getaction: phdl") || missing(iname, "getaction: iname")) return -1;
  return with_action(phdl, iname, [&](_NvPolComHandle* action) {
    _NvPolActionAttrib record{};
    int32_t status = 0;
    nvpol_getActionAttrib(action, &record, &status);
    if (check(status, "nvpol_getActionAttrib") != 0) return -1;
    if (missing(read_field(record.displayName), "getaction: displayname")) return -1;
    attr = {attr.name,
            read_field(record.displayName),
            read_field(record.comment),
            record.order,
            record.actionType,
            record.extra};
    return 0;
  });
}

int NvClassification::setaction(_NvPolComHandle* phdl, std::string const& iname,
                                Nvactionattr const& attr) {
  if (missing(phdl, "setaction: phdl") || missing(iname, "setaction: iname")) return -1;
  return with_action(phdl, iname, [&](_NvPolComHandle* action) {
    _NvPolActionAttrib const record = action_record(attr);
    int32_t status = 0;
    nvpol_setActionAttrib(action, &record, &status);
    return check(status, "nvpol_setActionAttrib");
  });
}

int NvClassification::getallaction(_NvPolComHandle* phdl, std::vector<Nvactionattr>& attrs) {
  if (missing(phdl, "getallaction: phdl")) return -1;
  std::vector<std::string> names;
  int result = getactionnames(phdl, names);
  for (std::string const& name : names) {
    Nvactionattr attr;
    result = std::min(result, getaction(phdl, name, attr));
    attrs.push_back(attr);
  }
  return result;
}

int NvClassification::setallaction(_NvPolComHandle* phdl, std::vector<std::string> const& names,
                                   std::vector<Nvactionattr> const& attrs) {
  if (attrs.size() < names.size()) {
    seterrorname("REG_EMPTY", "setallaction: attrs");
    return -1;
  }
  int result = 0;
  for (size_t i = 0; i < names.size(); ++i)
    result = std::min(result, setaction(phdl, names[i], attrs[i]));
  return result;
}

int NvClassification::deleteaction(_NvPolComHandle* phdl, std::string const& iname) {
  if (missing(phdl, "deleteaction: phdl")) return -1;
  int32_t status = 0;
  nvpol_deleteAction(phdl, iname.c_str(), &status);
  return check(status, "nvpol_deleteAction", "REG_FAILE2");
}

bool NvClassification::setting_text(Nvregentry const& entry, std::string& text) {
  unsigned long number = 0;
  std::string string;
  std::vector<std::string> list;
  switch (static_cast<int>(entry.gettype())) {
    case NVREG_DWORD:
      entry.getvalue(number);
      text = "DW " + std::to_string(static_cast<int32_t>(static_cast<uint32_t>(number)));
      return true;
    case NVREG_STRING:
      entry.getvalue(string);
      text = "SZ " + string;
      return true;
    case NVREG_BINARY:
      entry.getvalue(list);
      text = joined("BI ", list, " ");
      return true;
    case NVREG_MULTISTRING:
      entry.getvalue(list);
      text = joined("MS ", list, ";");
      return true;
  }
  seterrorname("REG_FAIL3", "registry type", entry.getname());
  return false;
}

int NvClassification::getactionsettings(_NvPolComHandle* hdl,
                                        std::map<std::string, std::string>& values) {
  std::vector<Nvregentry> entries;
  if (registry_.nvgetallentry(hdl, entries) == -1) {
    appenderror(registry_.geterror());
    return -1;
  }
  if (entries.empty()) {
    seterrorname("REG_EMPTY", "getactionsettings: nvgetallentry result");
    return -1;
  }
  int result = 0;
  for (Nvregentry const& entry : entries) {
    std::string text;
    if (setting_text(entry, text)) {
      values[entry.getname()] = text;
    } else {
      result = -1;
    }
  }
  return result;
}

int NvClassification::setactionsettings(_NvPolComHandle* hdl, std::vector<Nvregentry>& entries) {
  if (registry_.nvsetallentry(hdl, entries) != -1) return 0;
  appenderror(registry_.geterror());
  return -1;
}
