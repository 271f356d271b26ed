// The areas of a policy, as an administrator thinks of them, and where in the store each stands.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace zeva {

enum class Area {
  kFilterActions,
  kScanSettings,
  kPolicies,
  kTasks,
  kSenderLists,
  kExtraFilters,
  kAddressGroups,
  kSingleValues,
};

struct AreaName {
  char const* id;  // on the command line and in JSON
  char const* title;
};
// In the order of Area.
inline constexpr AreaName kAreas[] = {
    {"filter-actions", "Filter actions"},
    {"scan-settings", "Scan settings"},
    {"policies", "Policies"},
    {"tasks", "Tasks"},
    {"sender-lists", "Lists of senders"},
    {"extra-filters", "Extra filters"},
    {"address-groups", "Address groups"},
    {"single-values", "Single values"},
};

[[nodiscard]] constexpr AreaName const& name_of(Area area) {
  return kAreas[static_cast<size_t>(area)];
}

[[nodiscard]] std::optional<Area> area_named(std::string_view id);

// Both are paths of keys in normal form.
[[nodiscard]] bool is_or_is_below(std::string_view path, std::string_view top);

// What an administrator would call one thing: a policy, a task, a group; in areas that have no such
// things, a key of the registry.
struct AreaItem {
  Area area;
  std::string_view path;  // its key's, which begins the path that was asked for
  bool is_one = true;     // false for the key that holds all of an area's
};

// `path` is that of any key, in normal form.
[[nodiscard]] AreaItem item_at(std::string_view path);

// The item's name for a person: of policies, tasks and lists of senders with those of the policies
// above, of single values the whole path.
[[nodiscard]] std::string shown_name(AreaItem const& item);

}  // namespace zeva
