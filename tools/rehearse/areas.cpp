#include "areas.h"

#include "addr_list_keys.h"
#include "config_keys.h"
#include "filter_action_keys.h"
#include "policy_keys.h"
#include "task_keys.h"
#include "xfilter_keys.h"

#include <algorithm>
#include <iterator>

namespace zeva {
namespace {

enum class Extent { kKeyAlone, kEachBelow };

// Keys whose items stand one level below them, and keys that are items themselves.
struct Place {
  std::string_view path;
  Area area;
  Extent extent;
};
constexpr Place kPlaces[] = {
    {kClass.stored_in, Area::kFilterActions, Extent::kEachBelow},
    {kArea.stored_in, Area::kScanSettings, Extent::kEachBelow},
    {kScanLimits.stored_in, Area::kScanSettings, Extent::kKeyAlone},
    {kFrontScanLimits.stored_in, Area::kScanSettings, Extent::kKeyAlone},
    {kExceptions.stored_in, Area::kScanSettings, Extent::kKeyAlone},
    {kAddressList.stored_in, Area::kAddressGroups, Extent::kEachBelow},
    {kExtraFilters.stored_in, Area::kExtraFilters, Extent::kEachBelow},
};

// Where the component that begins at a place ends.
size_t end_of(std::string_view path, size_t start) {
  return std::min(path.find('\\', start), path.size());
}

// Below the key of all rules a policy has its name; then "rules" and a name lead to a policy below
// it, and "tasks" and a name to a task.
AreaItem rule_item(std::string_view path, size_t start) {
  size_t end = end_of(path, start);
  while (end < path.size()) {
    size_t const kind_end = end_of(path, end + 1);
    std::string_view const kind = path.substr(end + 1, kind_end - end - 1);
    bool const is_task = kind == kTaskHead.stored_in;
    if (kind_end == path.size() || (!is_task && kind != kSubPolicies)) break;
    end = end_of(path, kind_end + 1);
    if (is_task) return {Area::kTasks, path.substr(0, end)};
  }
  return {Area::kPolicies, path.substr(0, end)};
}

}  // namespace

bool is_or_is_below(std::string_view path, std::string_view top) {
  if (top.empty() || path == top) return true;
  return path.starts_with(top) && path[top.size()] == '\\';
}

std::optional<Area> area_named(std::string_view id) {
  auto const found = std::ranges::find(kAreas, id, &AreaName::id);
  if (found == std::end(kAreas)) return std::nullopt;
  return static_cast<Area>(found - std::begin(kAreas));
}

AreaItem item_at(std::string_view path) {
  std::string_view const rules = kPolicy.stored_in;
  if (path == rules) return {Area::kPolicies, path, false};
  if (is_or_is_below(path, rules)) return rule_item(path, rules.size() + 1);
  if (is_or_is_below(path, kMailListHead.stored_in)) return {Area::kSenderLists, path};
  for (Place const& key : kPlaces) {
    if (path == key.path) return {key.area, path, key.extent == Extent::kKeyAlone};
    if (key.extent == Extent::kEachBelow && is_or_is_below(path, key.path)) {
      return {key.area, path.substr(0, end_of(path, key.path.size() + 1))};
    }
  }
  return {Area::kSingleValues, path};
}

std::string shown_name(AreaItem const& item) {
  if (item.area == Area::kSingleValues) return std::string(item.path);
  if (item.area == Area::kSenderLists)
    return std::string(item.path.substr(item.path.find('\\') + 1));
  if (item.area != Area::kPolicies && item.area != Area::kTasks) {
    return std::string(item.path.substr(item.path.rfind('\\') + 1));
  }
  // Every second component is a name; "rules" and "tasks" stand between them.
  std::string name;
  bool is_name = true;
  size_t start = std::string_view(kPolicy.stored_in).size() + 1;
  for (; start <= item.path.size(); start = end_of(item.path, start) + 1, is_name = !is_name) {
    if (!is_name) continue;
    if (!name.empty()) name += '\\';
    name += item.path.substr(start, end_of(item.path, start) - start);
  }
  return name;
}

}  // namespace zeva
