// What a key of the registry holds: its values and the names of its subkeys.

#include "enumeration.h"
#include "nvporegistry.h"
#include "openkey.h"

#include <string.h>

#include <algorithm>
#include <charconv>

namespace {

// A text that fills the buffer it is written from has no terminator; reading has room for one.
constexpr uint32_t kReadBuffer = zeva::kValueBuffer + 1;
constexpr char kNoLabel[] = "hdl";  // a key in the error texts of calls that know its handle alone

// A value as the library delivers it. The bytes behind it are zero, so that a list without its
// closing empty text ends all the same.
struct RawValue {
  _NvRegDataType type = NVREG_DWORD;
  unsigned char data[kReadBuffer + 2] = {};
  uint32_t length = kReadBuffer;
};

}  // namespace

template <class Work>
int NvPoRegistry::with_key(std::string const& path, Work work) {
  zeva::OpenKey key(*this, path);
  return key ? work(key.get()) : -1;
}

int NvPoRegistry::nvsetvalue(_NvPolComHandle* key, Nvregentry const& entry) {
  if (missing(key, "nvsetvalue: hdl")) return -1;
  std::vector<unsigned char> buffer(zeva::kValueBuffer);
  int length = static_cast<int>(buffer.size());
  uint32_t number = 0;
  switch (entry.gettype()) {
    case NVREG_DWORD: {
      unsigned long value = 0;
      entry.getvalue(value);
      number = static_cast<uint32_t>(value);
      length = sizeof number;
      memcpy(buffer.data(), &number, sizeof number);
      break;
    }
    case NVREG_BINARY: {
      std::vector<std::string> bytes;
      entry.getvalue(bytes);
      buffer.resize(std::max(buffer.size(), bytes.size()));  // binary values have no cut
      [[fallthrough]];
    }
    case NVREG_STRING:
    case NVREG_MULTISTRING:
      entry.getvalue(buffer.data(), length);
      break;
    default:
      seterrorname("REG_FAIL1", "nvsetvalue type error at ", entry.getname());
      return -1;
  }
  int32_t status = 0;
  nvreg_setValue(key, entry.getname().c_str(), entry.gettype(), buffer.data(),
                 static_cast<uint32_t>(length), &status);
  return check_named(status, "nvreg_setValue", entry.getname());
}

int NvPoRegistry::nvsetvalue(char const* path, char const* name, _NvRegDataType type,
                             unsigned char const* data, int length) {
  return with_key(path, [&](_NvPolComHandle* key) {
    int32_t status = 0;
    nvreg_setValue(key, name, type, data, static_cast<uint32_t>(std::max(length, 0)), &status);
    return check_named(status, "nvreg_setValue", name);
  });
}

int NvPoRegistry::nvsetentry(std::string const& path, Nvregentry const& entry) {
  return with_key(path, [&](_NvPolComHandle* key) { return nvsetvalue(key, entry); });
}

int NvPoRegistry::nvsetallentry(_NvPolComHandle* key, std::vector<Nvregentry> const& entries) {
  for (Nvregentry const& entry : entries)
    if (nvsetvalue(key, entry) != 0) return -1;
  return 0;
}

int NvPoRegistry::nvsetallentry(std::string const& path, std::vector<Nvregentry> const& entries) {
  return with_key(path, [&](_NvPolComHandle* key) { return nvsetallentry(key, entries); });
}

int NvPoRegistry::check_query(int32_t status, std::string const& label, std::string const& name) {
  if (status >= 0) return 0;
  seterrorname("REG_FAIL4", "nvreg_queryValue", label, name, status);
  return -1;
}

int NvPoRegistry::query_dword(_NvPolComHandle* key, std::string const& label,
                              std::string const& name, uint32_t& number) {
  uint32_t length = sizeof number;
  _NvRegDataType type;
  int32_t status = 0;
  nvreg_queryValue(key, name.c_str(), &type, reinterpret_cast<unsigned char*>(&number), &length,
                   &status);
  return check_query(status, label, name);
}

int NvPoRegistry::read_entry(_NvPolComHandle* key, std::string const& label,
                             std::string const& name, Nvregentry& entry) {
  if (missing(key, "getentry: hdl")) return -1;
  RawValue value;
  int32_t status = 0;
  nvreg_queryValue(key, name.c_str(), &value.type, value.data, &value.length, &status);
  if (check_query(status, label, name) != 0) return -1;
  if (value.type != NVREG_DWORD) {
    entry.setattributes(name, value.type, value.data, value.length);
    return 0;
  }
  uint32_t number = 0;
  if (query_dword(key, label, name, number) != 0) return -1;
  entry.setattributes(name, value.type, number);
  return 0;
}

int NvPoRegistry::get_entry(_NvPolComHandle* key, std::string const& label, std::string const& name,
                            Nvregentry& entry) {
  size_t before = recorded().size();
  int result = read_entry(key, label, name, entry);
  if (result != 0) entry.seterror(recorded().substr(before));
  return result;
}

int NvPoRegistry::getentry(_NvPolComHandle* key, std::string const& name, Nvregentry& entry) {
  return get_entry(key, kNoLabel, name, entry);
}

int NvPoRegistry::nvgetentry(std::string const& path, std::string const& name, Nvregentry& entry) {
  return with_key(path, [&](_NvPolComHandle* key) { return get_entry(key, path, name, entry); });
}

int NvPoRegistry::nvgetvalue(char const* path, char const* name, _NvRegDataType& type,
                             unsigned char* data, int& length) {
  return with_key(path, [&](_NvPolComHandle* key) {
    int32_t status = 0;
    auto size = static_cast<uint32_t>(std::max(length, 0));
    nvreg_queryValue(key, name, &type, data, &size, &status);
    length = static_cast<int>(size);
    return check_query(status, path, name);
  });
}

int NvPoRegistry::nvgetallentryname(_NvPolComHandle* key, std::vector<std::string>& names) {
  if (missing(key, "nvgetallentryname hdl")) return -1;
  bool at_first;
  int32_t status = zeva::append_names(nvreg_enumSubkey, key, names, at_first);
  if (!at_first) return 0;
  if (status != NVREG_END_OF_LIST) return check(status, "nvreg_enumSubkey");
  seterrorname("REG_EMPTY", "The task name");
  return -1;
}

int NvPoRegistry::nvgetallentryname(std::string const& path, std::vector<std::string>& names) {
  return with_key(path, [&](_NvPolComHandle* key) { return nvgetallentryname(key, names); });
}

int NvPoRegistry::nvgetallentry(_NvPolComHandle* key, std::vector<Nvregentry>& entries) {
  if (missing(key, "nvgetallentry hdl")) return -1;
  for (uint32_t index = 0;; ++index) {
    char name[NVREG_MAX_NAME + 1] = {};
    uint32_t name_length = sizeof name;
    RawValue value;
    int32_t status = 0;
    nvreg_enumValue(key, index, name, &name_length, &value.type, value.data, &value.length,
                    &status);
    if (status == NVREG_END_OF_LIST) return 0;
    if (check(status, "nvreg_enumAddress") != 0) return -1;
    uint32_t number = 0;
    if (value.type == NVREG_DWORD && query_dword(key, kNoLabel, name, number) != 0) return -1;
    Nvregentry entry(name, value.type, number);
    if (value.type > NVREG_MULTISTRING)
      seterrorname("REG_FAIL1", "nvreg_enumValue get type error at ", name);
    else if (value.type != NVREG_DWORD)
      entry.setvalue(value.type, value.data, value.length);
    entries.push_back(entry);
  }
}

int NvPoRegistry::nvgetallentry(std::string const& path, std::vector<Nvregentry>& entries) {
  return with_key(path, [&](_NvPolComHandle* key) { return nvgetallentry(key, entries); });
}

int NvPoRegistry::get_simple(_NvPolComHandle* key, std::string const& label,
                             std::string const& name, _NvRegDataType type, std::string& value) {
  // A value of unknown type leaves the entry's type as it is: one that is neither number nor text.
  Nvregentry entry(name, NVREG_BINARY, "");
  if (get_entry(key, label, name, entry) != 0) return -1;
  unsigned long number = 0;
  if (type == entry.gettype()) {
    if (type == NVREG_STRING) return entry.getvalue(value);
    if (entry.getvalue(number) == 0) {
      value = std::to_string(number);
      return 0;
    }
  }
  seterrorname("REG_FAIL1", "getsimpleattr type error at ", name);
  return -1;
}

int NvPoRegistry::set_simple(_NvPolComHandle* key, std::string const& name, _NvRegDataType type,
                             std::string const& value) {
  Nvregentry entry(name, type, value);
  bool fits = type == NVREG_STRING;
  if (type == NVREG_DWORD) {
    uint32_t number = 0;
    char const* end = value.data() + value.size();
    auto read = std::from_chars(value.data(), end, number);
    fits = read.ec == std::errc() && read.ptr == end;
    entry.setvalue(type, number);
  }
  if (fits) return nvsetvalue(key, entry);
  seterrorname("REG_FAIL1", "setsimpleattr type error at ", name);
  return -1;
}

int NvPoRegistry::getsimpleattr(std::string const& path, std::string const& name,
                                _NvRegDataType type, std::string& value) {
  return with_key(path,
                  [&](_NvPolComHandle* key) { return get_simple(key, path, name, type, value); });
}

int NvPoRegistry::setsimpleattr(std::string const& path, std::string const& name,
                                _NvRegDataType type, std::string const& value) {
  return with_key(path, [&](_NvPolComHandle* key) { return set_simple(key, name, type, value); });
}

int NvPoRegistry::getsimpleattrs(std::string const& path, _NvRegDataType type,
                                 std::map<std::string, std::string>& values) {
  return with_key(path, [&](_NvPolComHandle* key) {
    for (auto& [name, value] : values)
      if (get_simple(key, path, name, type, value) != 0) return -1;
    return 0;
  });
}

int NvPoRegistry::setsimpleattrs(std::string const& path, _NvRegDataType type,
                                 std::map<std::string, std::string> const& values) {
  return with_key(path, [&](_NvPolComHandle* key) {
    for (auto const& [name, value] : values)
      if (set_simple(key, name, type, value) != 0) return -1;
    return 0;
  });
}
