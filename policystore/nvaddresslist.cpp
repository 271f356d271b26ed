#include "nvaddresslist.h"

#include "textfield.h"

#include <algorithm>

namespace {

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

NvAddresslist::NvAddresslist(std::string const& key, std::string const& file) {
  if (!open_key(key, file)) return;
  int32_t status = 0;
  hive_ = nvpol_openAddrListHive(regkey_, &status);
  if (!hive_) seterrorname("REG_FAIL2", "nvpol_openAddrListHive", status);
}

NvAddresslist::~NvAddresslist() {
  if (hive_) {
    int32_t status = 0;
    nvpol_closeAddrListHive(hive_, &status);
    check(status, "nvpol_closeAddrListHive");
  }
  close_key();
}

// Runs `work` on the list and closes it, whatever came of the work. `open_name` is how a failure to
// open the list is recorded.
template <class Work>
int NvAddresslist::with_list(std::string const& iname, Work work, char const* open_name) {
  int32_t status = 0;
  _NvPolComHandle* list = nvpol_openAddrList(hive_, iname.c_str(), &status);
  if (!list) {
    seterrorname("REG_FAIL", open_name, iname, status);
    return -1;
  }
  int const result = work(list);
  status = 0;
  nvpol_closeAddrList(list, &status);
  return std::min(result, check(status, "nvpol_closeAddrList"));
}

int NvAddresslist::getaddrlistsname(std::vector<std::string>& inames) {
  if (missing(hive_, "getaddrlistsname")) return -1;
  bool at_first = false;
  int32_t status = zeva::append_names(nvpol_enumAddrList, hive_, inames, at_first);
  return status == NVREG_END_OF_LIST ? 0 : check(status, "nvpol_enumAddrList");
}

int NvAddresslist::getaddrlistsnamepair(std::vector<Nvnamestringpair>& pairs) {
  std::vector<std::string> inames;
  int result = getaddrlistsname(inames);
  for (std::string const& iname : inames) {
    _NvPolAddrListAttr attr;
    if (getattr(iname, attr) == 0) {
      pairs.push_back({iname, zeva::read_field(attr.displayName)});
    } else {
      result = -1;
    }
  }
  return result;
}

int NvAddresslist::createaddrlist(std::string const& iname, _NvPolAddrListAttr const& attr) {
  if (missing(hive_, "createaddrlist: ahive")) return -1;
  int32_t status = 0;
  _NvPolComHandle* list = nvpol_createAddrList(hive_, iname.c_str(), &attr, &status);
  if (check_named(status, "nvpol_createAddrList", iname) != 0) return -1;
  nvpol_closeAddrList(list, &status);
  return check(status, "nvpol_closeAddrList");
}

int NvAddresslist::deleteaddrlist(std::string const& iname) {
  if (missing(iname, "deleteaddrlist: iname")) return -1;
  if (missing(hive_, "deleteaddrlist: ahive")) return -1;
  if (referred(NVPOL_REFER_ADDRESS_LIST, iname)) return -1;
  int32_t status = 0;
  nvpol_deleteAddrList(hive_, iname.c_str(), &status);
  return check_named(status, "nvpol_deleteAddrList", iname);
}

int NvAddresslist::getattr(std::string const& iname, _NvPolAddrListAttr& attr) {
  if (missing(hive_, "getattr: ahive")) return -1;
  return with_list(iname, [&](_NvPolComHandle* list) {
    int32_t status = 0;
    nvpol_getAddrListAttrib(list, &attr, &status);
    return check(status, "nvpol_getAddrListAttrib");
  });
}

int NvAddresslist::setattr(std::string const& iname, _NvPolAddrListAttr const& attr) {
  if (missing(hive_, "setattr: ahive")) return -1;
  return with_list(iname, [&](_NvPolComHandle* list) {
    int32_t status = 0;
    nvpol_setAddrListAttrib(list, &attr, &status);
    return check(status, "nvpol_setAddrListAttrib");
  });
}

int NvAddresslist::getaddress(std::string const& iname, std::vector<std::string>& addresses) {
  if (missing(hive_, "getaddress: ahive")) return -1;
  size_t const before = addresses.size();
  int const result =
      with_list(iname, [&](_NvPolComHandle* list) { return append_addresses(list, addresses); });
  if (result != 0 || addresses.size() > before) return result;
  seterrorname("REG_ADDREMPTY1", iname);
  return -1;
}

int NvAddresslist::append_addresses(_NvPolComHandle* list, std::vector<std::string>& addresses) {
  zeva::TextBuffer address;
  for (uint32_t index = 0;; ++index) {
    auto enumerate = [&](int32_t* status) {
      nvpol_enumAddress(list, index, address.data(), &address.length, status);
    };
    int32_t const status = zeva::read_texts(enumerate, address);
    if (status == NVREG_END_OF_LIST) return 0;
    if (check(status, "nvpol_enumAddress") != 0) return -1;
    addresses.push_back(address.text());
  }
}

int NvAddresslist::setaddress(std::string const& iname, std::vector<std::string> const& addresses) {
  if (addresses.empty()) {
    seterrorname("REG_EMPTY", "setaddress: address");
    return -1;
  }
  if (missing(hive_, "setaddress: ahive")) return -1;
  auto add_all = [&](_NvPolComHandle* list) {
    for (std::string const& address : addresses)
      if (setaddress(list, address) != 0) return -1;
    return 0;
  };
  return with_list(iname, add_all, "nvpol_openAddrlist");
}

int NvAddresslist::setaddress(_NvPolComHandle* list, std::string const& address) {
  int32_t status = 0;
  nvpol_insertAddress(list, address.c_str(), &status);
  return check_named(status, "nvpol_insertAddress", address);
}

int NvAddresslist::addressfrominame(std::string const& iname, std::string const& address,
                                    bool add) {
  if (missing(address, "addressfrominame: address")) return -1;
  if (missing(hive_, "addressfrominame: ahive")) return -1;
  return with_list(iname, [&](_NvPolComHandle* list) {
    if (add) return setaddress(list, address);
    int32_t status = 0;
    nvpol_removeAddress(list, address.c_str(), &status);
    return check_named(status, "nvpol_removeAddress", address);
  });
}

int NvAddresslist::importcsvfile(std::string const& iname, std::string const& file) {
  if (missing(hive_, "importcsvfile: ahive")) return -1;
  return with_list(iname, [&](_NvPolComHandle* list) {
    int32_t status = 0;
    nvpol_importAddress(list, file.c_str(), &status);
    uint32_t const line = NVPOL_LINE_OF(status);
    if (line == 0 && status != NVPOL_BAD_FORMAT)
      return check_named(status, "nvpol_importAddress", file);
    seterrorname("REG_IMPORTFORMATERR", "nvpol_importAddress", file, std::to_string(line),
                 NVPOL_BAD_FORMAT);
    return -1;
  });
}

int NvAddresslist::getgroupsfromaddress(std::string const& address, std::string const& match,
                                        std::string const& sensitivity,
                                        std::vector<std::string>& inames) {
  if (missing(hive_, "getgroupsfromaddress: ahive")) return -1;
  std::vector<std::string> lists;
  if (getaddrlistsname(lists) != 0) return -1;
  size_t const before = inames.size();
  int result = 0;
  for (std::string const& iname : lists) {
    std::vector<std::string> held;
    auto read = [&](_NvPolComHandle* list) { return append_addresses(list, held); };
    result = std::min(result, with_list(iname, read));
    auto wanted = [&](std::string const& text) {
      return comparestring(address, text, match, sensitivity);
    };
    if (std::any_of(held.begin(), held.end(), wanted)) inames.push_back(iname);
  }
  if (inames.size() > before) return result;
  seterrorname("REG_NOEXIST", address);
  return -1;
}

bool NvAddresslist::comparestring(std::string const& first, std::string const& second,
                                  std::string const& match, std::string const& sensitivity) {
  if (first.empty() || second.size() < first.size()) return false;
  if (match == "exact" && first.size() != second.size()) return false;
  bool const sensitive = sensitivity == "sensitive";
  return std::equal(first.begin(), first.end(), second.begin(), [sensitive](char a, char b) {
    return sensitive ? a == b : upper(a) == upper(b);
  });
}
