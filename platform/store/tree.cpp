#include "tree.h"

#include "nvreg.h"
#include "regpath.h"

#include <memory>

namespace zeva {

namespace {

Key& make_keys(Key& top, std::string_view path) {
  Key* key = &top;
  for (std::string_view name; !(name = next_component(path)).empty();) key = &key->subkeys.at(name);
  return *key;
}

Key* find_key(Key& top, std::string_view path) {
  return const_cast<Key*>(find_key(std::as_const(top), path));
}

[[nodiscard]] int32_t check_create(Key const& key, wire::Call const& change,
                                   bool& changes_nothing) {
  std::string joined;
  int32_t status = join_path(change.key(), change.path(), joined);
  if (status < 0) return status;
  bool const exists = find_key(key, change.path()) != nullptr;
  changes_nothing = exists && !change.add();
  return exists && change.add() ? NVREG_EXISTS : NVREG_OK;
}

[[nodiscard]] int32_t check_delete(Key const& key, wire::Call const& change) {
  Key const* doomed = find_key(key, change.path());
  if (!doomed) return NVREG_NOT_FOUND;
  return doomed == &key ? NVREG_BAD_ARGUMENT : NVREG_OK;
}

[[nodiscard]] int32_t check_set(Key const& key, wire::Call const& change) {
  int32_t status = check_name(change.name());
  if (status >= 0) status = check_value(change.type(), change.data());
  if (status < 0 || !change.add()) return status;
  if (key.values.find(change.name())) return NVREG_EXISTS;
  return change.after().empty() || key.values.find(change.after()) ? NVREG_OK : NVREG_NOT_FOUND;
}

void delete_key(Key& top, std::string_view path) {
  std::string normal;
  if (join_path({}, path, normal) < 0) return;
  size_t end = normal.rfind('\\');
  bool direct = end == normal.npos;
  Key* parent = direct ? &top : find_key(top, std::string_view(normal).substr(0, end));
  parent->subkeys.erase(std::string_view(normal).substr(direct ? 0 : end + 1));
}

}  // namespace

// Empties the keys below before they die, so that no destructor runs inside another one's.
Key::~Key() {
  std::vector<std::unique_ptr<Key>> doomed;
  subkeys.move_to(doomed);
  while (!doomed.empty()) {
    std::unique_ptr<Key> key = std::move(doomed.back());
    doomed.pop_back();
    key->subkeys.move_to(doomed);
  }
}

Key const* find_key(Key const& top, std::string_view path) {
  Key const* key = &top;
  for (std::string_view name; key && !(name = next_component(path)).empty();)
    key = key->subkeys.find(name);
  return key;
}

int32_t check_value(uint32_t type, std::string_view data) {
  if (data.size() > NVREG_MAX_VALUE) return NVREG_VALUE_TOO_LONG;
  if (type > NVREG_MULTISTRING) return NVREG_BAD_ARGUMENT;
  if (type == NVREG_DWORD && data.size() != sizeof(uint32_t)) return NVREG_BAD_ARGUMENT;
  return NVREG_OK;
}

bool is_change(wire::Call const& call) {
  return call.action() >= wire::CREATE_KEY && call.action() <= wire::DELETE_VALUE;
}

int32_t check(Key const& root, wire::Call const& change, bool& changes_nothing) {
  changes_nothing = false;
  Key const* key = find_key(root, change.key());
  if (!key) return NVREG_NOT_FOUND;
  switch (change.action()) {
    case wire::CREATE_KEY:
      return check_create(*key, change, changes_nothing);
    case wire::DELETE_KEY:
      return check_delete(*key, change);
    case wire::SET_VALUE:
      return check_set(*key, change);
    case wire::DELETE_VALUE:
      return key->values.find(change.name()) ? NVREG_OK : NVREG_NOT_FOUND;
    default:
      return NVREG_MALFORMED;
  }
}

void apply(Key& root, wire::Call const& change) {
  Key& key = *find_key(root, change.key());
  switch (change.action()) {
    case wire::CREATE_KEY:
      make_keys(key, change.path());
      break;
    case wire::DELETE_KEY:
      delete_key(key, change.path());
      break;
    case wire::SET_VALUE: {
      Value& value = key.values.at(change.name());
      value.type = change.type();
      value.data = change.data();
      break;
    }
    case wire::DELETE_VALUE:
      key.values.erase(change.name());
      break;
    default:
      break;
  }
}

}  // namespace zeva
