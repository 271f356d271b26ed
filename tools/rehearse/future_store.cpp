#include "future_store.h"

#include "addr_list_keys.h"
#include "config_keys.h"
#include "filter_action_keys.h"
#include "nvreg.h"
#include "policy_keys.h"
#include "regpath.h"
#include "xfilter_keys.h"

#include <algorithm>
#include <vector>

namespace zeva {
namespace {

// The keys of which each importer removes all below before it writes, or the key itself.
constexpr char const* kEmptied[] = {kClass.stored_in, kArea.stored_in, kAddressList.stored_in,
                                    kExtraFilters.stored_in};
constexpr char const* kRemoved[] = {"registry\\policy\\Rule\\Mail", "WhiteBlackLists\\Global"};

bool survives(Key const& today, std::string_view path) {
  std::vector<Key const*> emptied, removed;
  for (char const* place : kEmptied) emptied.push_back(find_key(today, place));
  for (char const* place : kRemoved) removed.push_back(find_key(today, place));
  auto const is_one_of = [](Key const* key, std::vector<Key const*> const& keys) {
    return std::ranges::find(keys, key) != keys.end();
  };
  Key const* key = &today;
  for (std::string_view name; !(name = next_component(path)).empty();) {
    if (is_one_of(key, emptied)) return false;
    key = key->subkeys.find(name);
    if (key == nullptr || is_one_of(key, removed)) return false;
  }
  return true;
}

}  // namespace

Key* FutureStore::make(Key& below, std::string_view path, std::string_view maker,
                       std::string* before) {
  std::string joined;
  if (join_path("", path, joined) != NVREG_OK) return nullptr;
  constexpr char kMaker[] = "made by";
  Key* key = &below;
  for (std::string_view name; !(name = next_component(path)).empty();) {
    key = &key->subkeys.at(name);
  }
  if (key == &below) return nullptr;
  if (maker.empty()) return key;
  Value& by = key->values.at(kMaker);
  if (before != nullptr) *before = by.data;
  if (by.data.empty()) by.data = maker;
  return key;
}

bool FutureStore::has(std::string_view path) const {
  return find_key(made_, path) != nullptr || (today_ != nullptr && survives(*today_, path));
}

}  // namespace zeva
