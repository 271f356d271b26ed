// Debugging dumps of the registry.

#include "console.h"
#include "enumeration.h"
#include "nvporegistry.h"

int NvPoRegistry::enumAttr(_NvPolComHandle* key, std::string const& label) {
  Nvregentry entry;
  if (getentry(key, label, entry) != 0) return -1;
  entry.print("");
  return 0;
}

int NvPoRegistry::enumAttrs(_NvPolComHandle* key, std::string const& label) {
  std::vector<Nvregentry> entries;
  int result = nvgetallentry(key, entries);
  for (Nvregentry const& entry : entries) entry.print(label);
  return result;
}

int NvPoRegistry::enumKey(_NvPolComHandle* key, std::string const& label) {
  zeva::print_line(label);
  return enumAttrs(key, "");
}

int NvPoRegistry::dump_key(_NvPolComHandle* key, std::string const& label, std::string const& path,
                           std::vector<std::string>& pending) {
  if (enumKey(key, path.empty() ? label : label + "\\" + path) != 0) return -1;
  std::vector<std::string> names;
  bool at_first;
  int32_t status = zeva::append_names(nvreg_enumSubkey, key, names, at_first);
  if (status != NVREG_END_OF_LIST) return check(status, "nvreg_enumSubkey");
  for (auto name = names.rbegin(); name != names.rend(); ++name)
    pending.push_back(path.empty() ? *name : path + "\\" + *name);
  return 0;
}

int NvPoRegistry::enumKeys(_NvPolComHandle* key, std::string const& label) {
  // Paths below `key` still to be shown: one key is open at a time, whatever the depth of the tree.
  std::vector<std::string> pending;
  int result = dump_key(key, label, "", pending);
  while (result == 0 && !pending.empty()) {
    std::string const path = pending.back();
    pending.pop_back();
    _NvPolComHandle* below = open_existing(key, path);  // it may be gone; a dump makes no key
    if (below == nullptr) return -1;
    result = dump_key(below, label, path, pending);
    nvregclosekey(below);
  }
  return result;
}
