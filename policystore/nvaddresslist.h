// The address lists (address groups) of the policy store, as objects of the policy library. A list
// has an internal name, attributes and addresses; conditions of rules refer to it by that name.
//
// The importer of address groups lists and creates lists and adds addresses with it. The rest is
// for programs that work on the policy store beside the migration, the console's and the gateway's
// own.
//
// Results are 0 for success and -1 for failure; a failure leaves its text in the error record.
#pragma once

#include "policyhive.h"

#include <string>
#include <vector>

struct Nvnamestringpair {
  std::string iname;
  std::string displayname;
};

class NvAddresslist : public zeva::PolicyHive {
 public:
  // Opens the hive on the key `key` ("registry\policy") of the registry at the address `file`
  // ("ZEVA:5069"). After a failure every call that needs the hive fails.
  NvAddresslist(std::string const& key, std::string const& file);
  // Makes the changes visible to other processes.
  ~NvAddresslist();

  // Append each list's internal name, or its internal and display name, in the store's order. A
  // list whose attributes cannot be read is left out, and the result is -1.
  [[nodiscard]] int getaddrlistsname(std::vector<std::string>& inames);
  [[nodiscard]] int getaddrlistsnamepair(std::vector<Nvnamestringpair>& pairs);

  [[nodiscard]] int createaddrlist(std::string const& iname, _NvPolAddrListAttr const& attr);
  // Refused while a rule refers to the list.
  [[nodiscard]] int deleteaddrlist(std::string const& iname);
  [[nodiscard]] int getattr(std::string const& iname, _NvPolAddrListAttr& attr);
  [[nodiscard]] int setattr(std::string const& iname, _NvPolAddrListAttr const& attr);

  // Append a list's addresses, in their order. An empty list is a failure.
  [[nodiscard]] int getaddress(std::string const& iname, std::vector<std::string>& addresses);

  // Adds addresses behind those that the list holds, up to the first that fails. No address is a
  // failure.
  [[nodiscard]] int setaddress(std::string const& iname, std::vector<std::string> const& addresses);
  [[nodiscard]] int setaddress(_NvPolComHandle* list, std::string const& address);

  // Adds one address, or removes it.
  [[nodiscard]] int addressfrominame(std::string const& iname, std::string const& address,
                                     bool add);

  // Adds the addresses of a file, as nvpol_importAddress reads it: none of them when the file is no
  // list of addresses; the error record names the line. When the store fails half way, those before
  // stay.
  [[nodiscard]] int importcsvfile(std::string const& iname, std::string const& file);

  // Appends the internal names of the lists that hold an address equal to the one given, as
  // comparestring compares them. None is a failure.
  [[nodiscard]] int getgroupsfromaddress(std::string const& address, std::string const& match,
                                         std::string const& sensitivity,
                                         std::vector<std::string>& inames);

  // `match` "exact": the texts are equal; any other: the first begins the second. `sensitivity`
  // "sensitive": bytes as they are; any other: regardless of the case of ASCII letters. An empty
  // text matches nothing.
  static bool comparestring(std::string const& first, std::string const& second,
                            std::string const& match, std::string const& sensitivity);

 private:
  template <class Work>
  int with_list(std::string const& iname, Work work, char const* open_name = "nvpol_openAddrList");
  int append_addresses(_NvPolComHandle* list, std::vector<std::string>& addresses);
};
