#include "references.h"

#include "addr_list_keys.h"
#include "config_keys.h"
#include "filter_action_keys.h"
#include "policy_keys.h"
#include "regpath.h"
#include "xfilter_keys.h"

#include <iterator>
#include <utility>

namespace zeva {
namespace {

struct ThingRow {
  char const* name;
  char const* folder;  // null where it is not always the same
  // What becomes of the second one of a name.
  char const* second;
  Severity severity;
};

constexpr char kWrittenOver[] = "this one is written over that";
// In the order of the enumerators.
constexpr ThingRow kThings[] = {
    {"classification", kClass.stored_in, "the import ends here", Severity::kError},
    {"action", nullptr, kWrittenOver, Severity::kLoss},
    {"quarantine area", kArea.stored_in, kWrittenOver, Severity::kLoss},
    {"policy", nullptr, "this one is written over that, with all that is below them",
     Severity::kLoss},
    {"task", nullptr, kWrittenOver, Severity::kLoss},
    {"address list", kAddressList.stored_in, "the import ends here", Severity::kError},
    {"extra filter", kExtraFilters.stored_in, kWrittenOver, Severity::kLoss},
};
static_assert(std::size(kThings) == static_cast<size_t>(Thing::kFilters) + 1);

ThingRow const& row_of(Thing thing) {
  return kThings[static_cast<size_t>(thing)];
}

}  // namespace

Key* References::give(ExportReader& file, std::string const& section, ExportKey const& key,
                      Thing thing, Key& folder, std::string const& name) {
  std::string before;
  Key* const made = store_.make(folder, name, file.name(), &before);
  if (made == nullptr || before.empty()) return made;
  ThingRow const& row = row_of(thing);
  std::string const where = before == file.name() ? "" : " of " + before;
  file.report("same-name", section, key.name,
              "another " + std::string(row.name) + where + " is called \"" + name +
                  "\", too: " + row.second)
      .severity = row.severity;
  return made;
}

Key* References::give(ExportReader& file, std::string const& section, ExportKey const& key,
                      Thing thing) {
  auto const name = file.asked_text(section, key);
  if (!name) return nullptr;
  Key* const folder = store_.make(store_.root(), row_of(thing).folder);
  return give(file, section, key, thing, *folder, *name);
}

void References::call(ExportReader const& file, std::string const& section, std::string const& key,
                      Thing thing, std::string const& name) {
  if (!name.empty()) calls_.push_back({file.name(), section, key, thing, name});
}

void References::call_classifications(ExportReader const& file, std::string const& section) {
  for (std::string const& key : file.keys(section)) {
    auto const name = file.asked_text(section, {key.c_str(), VALUE_TEXT});
    if (name) call(file, section, key, Thing::kClassifications, *name);
  }
}

std::string References::path_of(Call const& call) const {
  if (call.thing != Thing::kPolicies) {
    return row_of(call.thing).folder + ("\\" + call.name);
  }
  std::string path = top_policy_;
  std::string_view rest = call.name;
  for (std::string_view name; !(name = next_component(rest)).empty();) {
    path.append("\\").append(kSubPolicies).append("\\").append(name);
  }
  return path;
}

void References::report(std::vector<Finding>& findings) const {
  for (Call const& call : calls_) {
    if (unknown_.contains(call.thing) || store_.has(path_of(call))) continue;
    findings.push_back(
        {"dangling-reference", call.file, call.section, call.key,
         "there will be no " + std::string(row_of(call.thing).name) + " \"" + call.name + "\""});
  }
}

}  // namespace zeva
