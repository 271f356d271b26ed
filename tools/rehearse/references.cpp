#include "references.h"

#include "addr_list_keys.h"
#include "config_keys.h"
#include "filter_action_keys.h"
#include "nvpol.h"
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
  // Whether one whose name the store refuses ends the import or is left out.
  Severity refused;
  bool is_record = false;  // made as a whole, with a name of its own rules
};

constexpr char kImportEnds[] = "the import ends here";
constexpr char kRecordLimit[] = "1 to 127 bytes, without \\";
constexpr char kWrittenOver[] = "this one is written over that";
// In the order of the enumerators.
constexpr ThingRow kThings[] = {
    {"classification", kClass.stored_in, kImportEnds, Severity::kError, Severity::kError, true},
    {"action", nullptr, kWrittenOver, Severity::kLoss, Severity::kError},
    {"quarantine area", kArea.stored_in, kWrittenOver, Severity::kLoss, Severity::kError},
    {"policy", nullptr, "this one is written over that, with all that is below them",
     Severity::kLoss, Severity::kLoss},
    {"task", nullptr, kWrittenOver, Severity::kLoss, Severity::kLoss},
    {"address list", kAddressList.stored_in, kImportEnds, Severity::kError, Severity::kError, true},
    {"extra filter", kExtraFilters.stored_in, kWrittenOver, Severity::kLoss, Severity::kLoss},
};
static_assert(std::size(kThings) == static_cast<size_t>(Thing::kFilters) + 1);

ThingRow const& row_of(Thing thing) {
  return kThings[static_cast<size_t>(thing)];
}

bool is_refused(ThingRow const& row, std::string const& name) {
  if (!names_keys(name)) return true;
  return row.is_record &&
         (name.empty() || name.size() >= NVPOL_NAME_SIZE || name.find('\\') != name.npos);
}

// What a name makes that is no key of its own in the folder of its things; empty if it makes one.
std::string misplaced(ThingRow const& row, std::string const& name) {
  std::string_view rest = name;
  if (next_component(rest).empty()) {
    return "is empty: the " + std::string(row.name) + " is stored in the key that holds them all";
  }
  if (next_component(rest).empty()) return "";
  return "\"" + name + "\" is a path: the " + row.name + " is stored below another key";
}

}  // namespace

bool names_keys(std::string_view path) {
  std::string joined;
  return join_path("", path, joined) == NVREG_OK;
}

std::string refusal(std::string const& name, char const* limit, std::string const& outcome) {
  constexpr size_t kShown = 80;
  std::string const shown =
      name.size() > kShown ? std::to_string(name.size()) + " bytes" : "\"" + name + "\"";
  return shown + " is no name that the store takes (" + limit + "): " + outcome;
}

Key* References::give(ExportReader& file, std::string const& section, ExportKey const& key,
                      Thing thing, Key& folder, std::string const& name) {
  ThingRow const& row = row_of(thing);
  if (is_refused(row, name)) {
    std::string const left_out = "the " + std::string(row.name) +
                                 (thing == Thing::kPolicies ? " and all below it" : "") +
                                 " is left out";
    file.report("bad-name", section, key.name,
                refusal(name, row.is_record ? kRecordLimit : kPathLimit,
                        row.refused == Severity::kError ? kImportEnds : left_out))
        .severity = row.refused;
    return nullptr;
  }
  if (std::string const where = misplaced(row, name); !where.empty()) {
    file.report("bad-name", section, key.name, where);
  }
  std::string before;
  Key* const made = store_.make(folder, name, file.name(), &before);
  if (made == nullptr) return &folder;
  if (before.empty()) return made;
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

void References::call_classifications(ExportReader const& file, std::string const& section,
                                      std::span<ExportKey const> keys) {
  for (ExportKey const& key : keys) {
    auto const name = file.asked_text(section, {key.name, VALUE_TEXT});
    if (name) call(file, section, key.name, Thing::kClassifications, *name);
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
