#include "nvreg.h"

#include "connection.h"
#include "nvreg_add.h"
#include "port.h"
#include "regpath.h"

#include <string.h>

#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

using zeva::Connection;
using zeva::wire::Answer;
using zeva::wire::Call;

struct _NvPolComHandle {
  enum Kind { kRegistry, kKey } kind;
  std::shared_ptr<Connection> connection;  // open as long as a handle of it is
  std::string path;                        // of the key, in normal form
};

namespace {

constexpr std::string_view kAddressPrefix = "ZEVA:";

// Nothing may be thrown across the C interface; all that can be thrown here is lack of memory.
template <class Body>
[[nodiscard]] int32_t guarded(Body body) {
  try {
    return body();
  } catch (std::exception const&) {
    return NVREG_NO_MEMORY;
  }
}

template <class Body>
_NvPolComHandle* guarded_handle(int32_t* status, Body body) {
  _NvPolComHandle* handle = nullptr;
  *status = guarded([&] { return body(handle); });
  return *status < 0 ? nullptr : handle;
}

bool is_key(_NvPolComHandle const* handle) {
  return handle && handle->kind == _NvPolComHandle::kKey;
}

bool is_registry(_NvPolComHandle const* handle) {
  return handle && handle->kind == _NvPolComHandle::kRegistry;
}

[[nodiscard]] bool read_address(char const* file, uint16_t& port) {
  std::string_view address(file ? file : "");
  if (!address.starts_with(kAddressPrefix)) return false;
  address.remove_prefix(kAddressPrefix.size());
  return zeva::read_port(address, port);
}

Call call_on(_NvPolComHandle const* key, zeva::wire::Action action) {
  Call call;
  call.set_action(action);
  call.set_key(key->path);
  return call;
}

[[nodiscard]] int32_t send(_NvPolComHandle const* handle, Call const& call) {
  Answer answer;
  return handle->connection->call(call, answer);
}

// Path and resulting path of a call on what is below a key.
[[nodiscard]] int32_t set_path(Call& call, char const* path, std::string& joined) {
  if (!path) return NVREG_BAD_ARGUMENT;
  int32_t status = zeva::join_path(call.key(), path, joined);
  if (status < 0) return status;
  std::string_view below = joined;
  below.remove_prefix(call.key().size());
  if (!call.key().empty() && !below.empty()) below.remove_prefix(1);
  call.set_path(std::string(below));
  return NVREG_OK;
}

[[nodiscard]] int32_t set_name(Call& call, char const* name) {
  if (!name) return NVREG_BAD_ARGUMENT;
  int32_t status = zeva::check_name(name);
  if (status >= 0) call.set_name(name);
  return status;
}

[[nodiscard]] int32_t set_value(_NvPolComHandle const* key, char const* name, _NvRegDataType type,
                                unsigned char const* data, uint32_t length, bool add,
                                char const* after) {
  if (!is_key(key) || (!data && length > 0)) return NVREG_BAD_ARGUMENT;
  if (length > NVREG_MAX_VALUE) return NVREG_VALUE_TOO_LONG;
  Call call = call_on(key, zeva::wire::SET_VALUE);
  int32_t const named = set_name(call, name);
  if (named < 0) return named;
  call.set_type(static_cast<uint32_t>(type));
  if (length > 0) call.set_data(data, length);
  call.set_add(add);
  if (after) call.set_after(after);
  return send(key, call);
}

[[nodiscard]] int32_t open_key(_NvPolComHandle* parent, char const* path, zeva::wire::Action action,
                               bool add, _NvPolComHandle*& key) {
  if (!is_key(parent)) return NVREG_BAD_ARGUMENT;
  Call call = call_on(parent, action);
  call.set_add(add);
  std::string joined;
  int32_t status = set_path(call, path, joined);
  if (status >= 0) status = send(parent, call);
  if (status < 0) return status;
  key = new _NvPolComHandle{_NvPolComHandle::kKey, parent->connection, std::move(joined)};
  return NVREG_OK;
}

// What is read into a caller's buffer: the length is always told, the bytes only when they fit.
struct Output {
  void* bytes;
  uint32_t* length;
  size_t terminator;  // bytes of NUL that must fit, too

  [[nodiscard]] bool valid() const { return length && (bytes || *length == 0); }
  [[nodiscard]] bool fits(std::string const& text) const {
    return text.size() + terminator <= *length;
  }
  void tell_length(std::string const& text) const { *length = static_cast<uint32_t>(text.size()); }
  void copy(std::string const& text) const {
    if (text.size() + terminator > 0) memcpy(bytes, text.c_str(), text.size() + terminator);
  }
};

[[nodiscard]] bool take_type(Answer const& answer, _NvRegDataType* type) {
  if (answer.type() > NVREG_MULTISTRING) return false;
  *type = static_cast<_NvRegDataType>(answer.type());
  return true;
}

[[nodiscard]] int32_t deliver(
    std::initializer_list<std::pair<Output, std::string const*>> results) {
  bool fit = true;
  for (auto& [output, text] : results) fit = fit && output.fits(*text);
  for (auto& [output, text] : results) {
    if (fit) output.copy(*text);
    output.tell_length(*text);
  }
  return fit ? NVREG_OK : NVREG_BUFFER_TOO_SMALL;
}

}  // namespace

_NvPolComHandle* nvreg_open(int32_t mode, const char* file, _NvPolComHandle** root,
                            int32_t* status) {
  return guarded_handle(status, [&](_NvPolComHandle*& registry) {
    uint16_t port;
    if (mode != 1 || !root || !read_address(file, port)) return NVREG_BAD_ARGUMENT;
    auto connection = std::make_shared<Connection>();
    int32_t opened = connection->open(port);
    if (opened < 0) return opened;
    std::unique_ptr<_NvPolComHandle> key(
        new _NvPolComHandle{_NvPolComHandle::kKey, connection, {}});
    registry = new _NvPolComHandle{_NvPolComHandle::kRegistry, std::move(connection), {}};
    *root = key.release();
    return NVREG_OK;
  });
}

void nvreg_refresh(_NvPolComHandle* registry, int32_t* status) {
  *status = guarded([&] {
    if (!is_registry(registry)) return NVREG_BAD_ARGUMENT;
    return send(registry, call_on(registry, zeva::wire::REFRESH));
  });
}

void nvreg_close(_NvPolComHandle* registry, int32_t* status) {
  nvreg_refresh(registry, status);
  if (is_registry(registry)) delete registry;
}

_NvPolComHandle* nvreg_openKey(_NvPolComHandle* parent, const char* path, int32_t* status) {
  return guarded_handle(status, [&](_NvPolComHandle*& key) {
    return open_key(parent, path, zeva::wire::OPEN_KEY, false, key);
  });
}

_NvPolComHandle* nvreg_createKey(_NvPolComHandle* parent, const char* path, int32_t* status) {
  return guarded_handle(status, [&](_NvPolComHandle*& key) {
    return open_key(parent, path, zeva::wire::CREATE_KEY, false, key);
  });
}

_NvPolComHandle* nvreg_addKey(_NvPolComHandle* parent, const char* path, int32_t* status) {
  return guarded_handle(status, [&](_NvPolComHandle*& key) {
    return open_key(parent, path, zeva::wire::CREATE_KEY, true, key);
  });
}

void nvreg_closeKey(_NvPolComHandle* key, int32_t* status) {
  *status = is_key(key) ? NVREG_OK : NVREG_BAD_ARGUMENT;
  if (*status >= 0) delete key;
}

void nvreg_deleteKey(_NvPolComHandle* parent, const char* path, int32_t* status) {
  *status = guarded([&] {
    if (!is_key(parent)) return NVREG_BAD_ARGUMENT;
    Call call = call_on(parent, zeva::wire::DELETE_KEY);
    std::string joined;
    int32_t named = set_path(call, path, joined);
    if (named < 0) return named;
    return call.path().empty() ? NVREG_BAD_ARGUMENT : send(parent, call);
  });
}

void nvreg_deleteValue(_NvPolComHandle* key, const char* name, int32_t* status) {
  *status = guarded([&] {
    if (!is_key(key)) return NVREG_BAD_ARGUMENT;
    Call call = call_on(key, zeva::wire::DELETE_VALUE);
    int32_t named = set_name(call, name);
    return named < 0 ? named : send(key, call);
  });
}

void nvreg_setValue(_NvPolComHandle* key, const char* name, _NvRegDataType type,
                    const unsigned char* data, uint32_t length, int32_t* status) {
  *status = guarded([&] { return set_value(key, name, type, data, length, false, nullptr); });
}

void nvreg_addValue(_NvPolComHandle* key, const char* name, const char* after, _NvRegDataType type,
                    const unsigned char* data, uint32_t length, int32_t* status) {
  *status = guarded([&] { return set_value(key, name, type, data, length, true, after); });
}

void nvreg_queryValue(_NvPolComHandle* key, const char* name, _NvRegDataType* type,
                      unsigned char* data, uint32_t* length, int32_t* status) {
  *status = guarded([&] {
    Output out{data, length, 0};
    if (!is_key(key) || !type || !out.valid()) return NVREG_BAD_ARGUMENT;
    Call call = call_on(key, zeva::wire::QUERY_VALUE);
    int32_t named = set_name(call, name);
    if (named < 0) return named;
    Answer answer;
    int32_t answered = key->connection->call(call, answer);
    if (answered < 0) return answered;
    if (!take_type(answer, type)) return NVREG_MALFORMED;
    return deliver({{out, &answer.data()}});
  });
}

void nvreg_enumSubkey(_NvPolComHandle* key, uint32_t index, char* name, uint32_t* name_length,
                      int32_t* status) {
  *status = guarded([&] {
    Output out{name, name_length, 1};
    if (!is_key(key) || !out.valid()) return NVREG_BAD_ARGUMENT;
    Call call = call_on(key, zeva::wire::ENUM_SUBKEY);
    call.set_index(index);
    Answer answer;
    int32_t answered = key->connection->call(call, answer);
    return answered < 0 ? answered : deliver({{out, &answer.name()}});
  });
}

void nvreg_enumValue(_NvPolComHandle* key, uint32_t index, char* name, uint32_t* name_length,
                     _NvRegDataType* type, unsigned char* data, uint32_t* length, int32_t* status) {
  *status = guarded([&] {
    Output name_out{name, name_length, 1};
    Output data_out{data, length, 0};
    if (!is_key(key) || !type || !name_out.valid() || !data_out.valid()) return NVREG_BAD_ARGUMENT;
    Call call = call_on(key, zeva::wire::ENUM_VALUE);
    call.set_index(index);
    Answer answer;
    int32_t answered = key->connection->call(call, answer);
    if (answered < 0) return answered;
    if (!take_type(answer, type)) return NVREG_MALFORMED;
    return deliver({{name_out, &answer.name()}, {data_out, &answer.data()}});
  });
}
