#include "server_reader.h"

#include "nvreg.h"

#include <algorithm>
#include <memory>

namespace zeva {
namespace {

struct CloseKey {
  void operator()(_NvPolComHandle* key) const {
    int32_t ignored;  // nothing was changed, so nothing can be lost
    nvreg_closeKey(key, &ignored);
  }
};
struct CloseRegistry {
  void operator()(_NvPolComHandle* registry) const {
    int32_t ignored;
    nvreg_close(registry, &ignored);
  }
};
using KeyHandle = std::unique_ptr<_NvPolComHandle, CloseKey>;
using RegistryHandle = std::unique_ptr<_NvPolComHandle, CloseRegistry>;

// Reads one key's values and subkeys; keeps its buffers from key to key.
class KeyReader {
 public:
  int32_t read_values(_NvPolComHandle* key, std::vector<Value>& values) {
    values.clear();
    for (uint32_t index = 0;; ++index) {
      _NvRegDataType type = NVREG_DWORD;
      uint32_t name_length = 0;
      uint32_t length = 0;
      int32_t const status = grow_until_it_fits(name_length, length, [&](int32_t* result) {
        nvreg_enumValue(key, index, name_.data(), &name_length, &type,
                        reinterpret_cast<unsigned char*>(data_.data()), &length, result);
      });
      if (status == NVREG_END_OF_LIST) return NVREG_OK;
      if (status < 0) return status;
      values.push_back(
          {name_.substr(0, name_length), static_cast<uint32_t>(type), data_.substr(0, length)});
    }
  }

  int32_t read_subkeys(_NvPolComHandle* key, std::vector<std::string>& names) {
    names.clear();
    for (uint32_t index = 0;; ++index) {
      uint32_t name_length = 0;
      uint32_t unused = 0;
      int32_t const status = grow_until_it_fits(name_length, unused, [&](int32_t* result) {
        nvreg_enumSubkey(key, index, name_.data(), &name_length, result);
      });
      if (status == NVREG_END_OF_LIST) return NVREG_OK;
      if (status < 0) return status;
      names.push_back(name_.substr(0, name_length));
    }
  }

 private:
  // The lengths go in as the buffers' sizes and come out as what was read or would be needed.
  template <class Call>
  int32_t grow_until_it_fits(uint32_t& name_length, uint32_t& length, Call call) {
    for (;;) {
      name_length = static_cast<uint32_t>(name_.size());
      length = static_cast<uint32_t>(data_.size());
      int32_t status = NVREG_OK;
      call(&status);
      if (status != NVREG_BUFFER_TOO_SMALL) return status;
      bool const name_fits = name_length < name_.size();
      if (name_fits && length <= data_.size()) return status;  // it does not say what is missing
      if (!name_fits) name_.resize(size_t{name_length} + 1);
      data_.resize(std::max<size_t>(data_.size(), length));
    }
  }

  std::string name_ = std::string(NVREG_MAX_NAME + 1, '\0');
  std::string data_ = std::string(size_t{64} * 1024, '\0');
};

}  // namespace

int32_t visit_server(std::string const& address, std::string const& path, KeyVisitor const& visit) {
  int32_t status = NVREG_OK;
  _NvPolComHandle* root_handle = nullptr;
  RegistryHandle const registry(nvreg_open(1, address.c_str(), &root_handle, &status));
  if (!registry) return status;
  KeyHandle const root(root_handle);

  KeyReader reader;
  std::vector<Value> values;
  std::vector<std::string> subkeys;
  std::vector<std::string> waiting{path};
  while (!waiting.empty()) {
    KeyView view{std::move(waiting.back()), {}};
    waiting.pop_back();
    KeyHandle const key(nvreg_openKey(root.get(), view.path.c_str(), &status));
    bool const is_top = view.path == path;
    if (!key && (is_top || status != NVREG_NOT_FOUND)) return status;
    if (!key) continue;
    status = reader.read_values(key.get(), values);
    if (status == NVREG_OK) status = reader.read_subkeys(key.get(), subkeys);
    if (status == NVREG_NOT_FOUND && !is_top) continue;
    if (status < 0) return status;
    for (Value const& value : values) view.values.push_back(&value);
    if (!visit(view)) break;
    std::string const prefix = view.path.empty() ? "" : view.path + '\\';
    for (auto name = subkeys.rbegin(); name != subkeys.rend(); ++name) {
      waiting.push_back(prefix + *name);
    }
  }
  return NVREG_OK;
}

}  // namespace zeva
