// The names that an export gives its things, and those by which it calls for them.
//
// Every thing becomes a key of the store, so two of one name in one place become one; and what is
// called for by a name that no key will have, does not work.
#pragma once

#include "export_reader.h"
#include "future_store.h"

#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zeva {

// Whether the store takes each part of a path as the name of a key.
[[nodiscard]] bool names_keys(std::string_view path);
// What is told of a name that it does not take: what it takes, and what becomes of the thing.
inline constexpr char kPathLimit[] = "parts of at most 1024 bytes";
inline constexpr char kNameLimit[] = "at most 1024 bytes, without \\";
[[nodiscard]] std::string refusal(std::string const& name, char const* limit,
                                  std::string const& outcome);

enum class Thing { kClassifications, kActions, kAreas, kPolicies, kTasks, kLists, kFilters };

class References {
 public:
  // The store before the run, null when it is not known.
  explicit References(Key const* today) : store_(today) {}

  [[nodiscard]] FutureStore& store() { return store_; }

  // The file gives a thing the name that stands at a key of it. Where that is taken in `folder`, or
  // makes no key of its own there, this is reported. Returns the key that the thing is stored in,
  // null when the store takes no such name.
  Key* give(ExportReader& file, std::string const& section, ExportKey const& key, Thing thing,
            Key& folder, std::string const& name);
  // The same for things whose folder is always the same.
  Key* give(ExportReader& file, std::string const& section, ExportKey const& key, Thing thing);

  // The file calls for a thing by the name that stands at a key of it; an empty one calls for
  // nothing.
  void call(ExportReader const& file, std::string const& section, std::string const& key,
            Thing thing, std::string const& name);
  // The same for each text at keys of a section, all of which are names of classifications.
  void call_classifications(ExportReader const& file, std::string const& section,
                            std::span<ExportKey const> keys);

  // Not all names of these things could be read: calls for them are not judged.
  void forget(Thing thing) { unknown_.insert(thing); }

  // The policies below the top one, for those that are called for by their path.
  void set_top_policy(std::string const& path) { top_policy_ = path; }

  // Reports the calls that nothing will answer.
  void report(std::vector<Finding>& findings) const;

 private:
  struct Call {
    std::string file, section, key;
    Thing thing;
    std::string name;
  };

  [[nodiscard]] std::string path_of(Call const& call) const;

  FutureStore store_;
  std::vector<Call> calls_;
  std::set<Thing> unknown_;
  std::string top_policy_;
};

}  // namespace zeva
