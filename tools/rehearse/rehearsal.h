// A rehearsal, in its sandbox: copies the store, examines the package, runs the migration and
// prints what it did.
#pragma once

#include "outline.h"
#include "target.h"
#include "text_report.h"

#include <optional>
#include <string>
#include <vector>

namespace zeva {

// The package's name in the sandbox when its own cannot be used there.
inline constexpr char kRenamedPackage[] = "/tmp/.zeva-rehearsal/renamed-package";

// What a rehearsal is told on its command line.
struct RehearsalOptions {
  bool check = false;  // only examine the package
  bool json = false;
  TextStyle::Detail detail = TextStyle::Detail::kValues;  // of the text
  Scope scope;
  std::vector<std::string> masked;  // paths of keys whose values are secret, in normal form
  bool exit_code = false;           // the exit status tells a run that came to its end further
};

// Exit statuses of a run that came to its end, with `exit_code`.
inline constexpr int kNothingChanges = 0;
inline constexpr int kChanges = 3;
inline constexpr int kChangesWithLosses = 4;

// What is rehearsed, by its paths outside the sandbox and in it.
struct RehearsalSubject {
  std::string home;
  // The home's folder that the store is copied from, seen at the same path. Empty when only the
  // package is looked at.
  std::string config;
  std::string package;           // or a folder of export files
  std::string given;             // the same in the sandbox
  int plan = -1;                 // descriptor of the file that the plan is written to; -1 for none
  int page = -1;                 // the same of the page
  std::optional<Target> target;  // the machine, where it was looked at
};

// Returns the exit status: the run's, unless the options say otherwise, or kFailed.
[[nodiscard]] int rehearse(RehearsalSubject const& subject, RehearsalOptions const& options);

// Exit statuses of an examination alone that has found more than notes.
inline constexpr int kLossesFound = 3;
inline constexpr int kErrorsFound = 4;

// Examines the package, and the machine where it was looked at, without a run. 0, kLossesFound,
// kErrorsFound or kFailed.
[[nodiscard]] int check(RehearsalSubject const& subject, RehearsalOptions const& options);

}  // namespace zeva
