#include "addr_list_keys.h"
#include "export_file.h"
#include "importers.h"
#include "nvaddresslist.h"
#include "package_names.h"
#include "runlog.h"
#include "textfield.h"
#include "value_table.h"

#include <unistd.h>

#include <string>
#include <vector>

using namespace zeva;

namespace {

// Removes all lists. 0, or the importer's result when that fails.
int remove_lists(NvAddresslist& list, char const* regfile) {
  std::vector<Nvnamestringpair> old_lists;
  // What cannot be listed stays, and is in the way only of a list of its name.
  (void)list.getaddrlistsnamepair(old_lists);
  std::vector<std::string> names;
  for (auto const& [name, shown_name] : old_lists) names.push_back(name);

  NvPoRegistry registry(regfile);
  RegistryKey key(registry, "registry\\policy\\\\AddressList", 55);
  if (!key) return kAddressGroupsFailed;
  return delete_keys(registry, key.get(), names, "Remove address error", 64) ? 0
                                                                             : kFilterActionsFailed;
}

bool import_list(NvConfigFile const& file, NvAddresslist& list, std::string const& section) {
  ValueTable values(section, kAddressList.keys);
  if (!values.read(file)) return false;
  std::string const& name = values.text(kAddressListName);
  if (!add_addr_group(list, name, values.text(kAddressListShownName),
                      values.text(kAddressListComment))) {
    return false;
  }
  std::vector<std::string> addresses;
  parse_multi_str(values.text(kAddresses).c_str(), addresses);
  if (list.setaddress(name, addresses) == -1) {
    LogDebugMessage("Address list error [%d]: %s", 0, list.geterror().c_str());
    return false;
  }
  return true;
}

}  // namespace

bool add_addr_group(NvAddresslist& list, std::string const& name, std::string const& displayName,
                    std::string const& comment) {
  _NvPolAddrListAttr attributes = {};
  fill_field(attributes.displayName, displayName);
  fill_field(attributes.comment, comment);
  if (list.createaddrlist(name, attributes) == -1) {
    LogDebugMessage("Address list error: [%d]: %s", 0, list.geterror().c_str());
    return false;
  }
  return true;
}

int import_addr_list(char const* dir, char const* regfile) {
  NvAddresslist list("registry\\policy", regfile);
  if (int const result = remove_lists(list, regfile); result != 0) return result;

  NvConfigFile file;
  if (!read_export_file(file, dir, kAddressListFile, 81)) return kAddressGroupsFailed;
  int lists = 0;
  if (!read_number(file, kCommon, kAddressListCount, lists)) return kAddressGroupsFailed;
  for (int i = 0; i < lists; ++i) {
    if (!import_list(file, list, numbered(kAddressList.name, i + 1))) return kAddressGroupsFailed;
    // Leaves the gateway the time to take the list up.
    sleep(1);
  }
  return 0;
}
