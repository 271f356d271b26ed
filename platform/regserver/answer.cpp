#include "answer.h"

#include "nvreg.h"
#include "report.h"

#include <utility>

namespace zeva {

namespace {

void put_value(wire::Answer& answer, Value const& value) {
  answer.set_type(value.type);
  answer.set_data(value.data);
}

int32_t enum_subkey(Key const& key, uint32_t index, wire::Answer& answer) {
  if (index >= key.subkeys.size()) return NVREG_END_OF_LIST;
  answer.set_name(key.subkeys[index].name);
  return NVREG_OK;
}

int32_t enum_value(Key const& key, uint32_t index, wire::Answer& answer) {
  if (index >= key.values.size()) return NVREG_END_OF_LIST;
  answer.set_name(key.values[index].name);
  put_value(answer, key.values[index]);
  return NVREG_OK;
}

int32_t query_value(Key const& key, std::string const& name, wire::Answer& answer) {
  Value const* value = key.values.find(name);
  if (!value) return NVREG_NOT_FOUND;
  put_value(answer, *value);
  return NVREG_OK;
}

int32_t read(Key const& root, wire::Call const& call, wire::Answer& answer) {
  Key const* key = find_key(root, call.key());
  if (!key) return NVREG_NOT_FOUND;
  switch (call.action()) {
    case wire::OPEN_KEY:
      return find_key(*key, call.path()) ? NVREG_OK : NVREG_NOT_FOUND;
    case wire::QUERY_VALUE:
      return query_value(*key, call.name(), answer);
    case wire::ENUM_SUBKEY:
      return enum_subkey(*key, call.index(), answer);
    case wire::ENUM_VALUE:
      return enum_value(*key, call.index(), answer);
    default:
      return NVREG_MALFORMED;
  }
}

// Once: clients try again and again, and one line is enough to be found.
void tell_of_damage(int32_t status) {
  static bool told = false;
  if (status != NVREG_STORE_DAMAGED || std::exchange(told, true)) return;
  report(
      "somebody else has written to the store's log, or moved it: no more changes are taken, so "
      "that what was restored stays; start the server again");
}

int32_t refresh(Store& store) {
  std::string note;
  int32_t status = store.refresh(note);
  if (!note.empty()) report("no new snapshot: " + note);
  return status;
}

}  // namespace

void answer(Store& store, wire::Call const& call, wire::Answer& answer) {
  answer.Clear();
  if (call.action() == wire::REFRESH)
    answer.set_status(refresh(store));
  else if (is_change(call))
    answer.set_status(store.change(call));
  else
    answer.set_status(read(store.root(), call, answer));
  tell_of_damage(answer.status());
}

}  // namespace zeva
