#include "rehearsal.h"

#include "command.h"
#include "digest.h"
#include "examine.h"
#include "export_secrets.h"
#include "files.h"
#include "json_report.h"
#include "live_run.h"
#include "opened_package.h"
#include "plan.h"
#include "proof.h"
#include "regserver_control.h"
#include "rehearsal_home.h"
#include "sandbox.h"
#include "secrets.h"
#include "terminal.h"
#include "tool.h"
#include "unpacking.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <sstream>

namespace fs = std::filesystem;

namespace zeva {
namespace {

std::string scratch(std::string const& name) {
  return kScratchFolder + ("/" + name);
}

// Makes a package of a folder of export files; what went wrong, if anything did.
std::optional<std::string> pack(std::string const& folder, std::string const& package) {
  LongWait wait("the export to be packed");
  CommandResult const done = run_command(
      {{"zeva-pack", "--", folder, package}, "", [&](std::string const&) { wait.show(); }});
  return done.succeeded() ? std::nullopt : std::optional(done.explanation());
}

// Unpacks the package for itself and looks at what is in it.
void examine(std::string const& package, Rehearsal& rehearsal, Secrets& secrets) {
  std::string const folder = scratch("export");
  LongWait wait("the examination of the package");
  auto const go_on = [&] { wait.show(); };
  rehearsal.not_examined = unpack(package, kScratchFolder, folder, go_on);
  if (!rehearsal.not_examined.empty()) return;
  learn_export(folder, secrets);
  rehearsal.findings = examine_package(folder, {.go_on = go_on});
}

CommandResult migrate(std::string const& package, LineFilter const& shown) {
  // Another library that is preloaded everywhere stays so.
  char const* const preloaded = getenv("LD_PRELOAD");
  std::string const home = kScratchHome;
  LiveRun live(shown);
  return run_command({{"env",
                       "LD_PRELOAD=" + home + "/lib/libzevawitness.so" +
                           (preloaded != nullptr ? std::string(":") + preloaded : ""),
                       "ZEVA_WITNESS=" + scratch("notes"), home + "/bin/migration/zeva-migrate",
                       package, scratch("run.log")},
                      "",
                      [&](std::string const& piece) { live.take(piece); }});
}

// The console's result file is the run's last word.
std::optional<int> read_result() {
  std::string file;
  std::string const path = std::string(kScratchHome) + "/xhtml/en/download/mig_result";
  if (read_file(path, file) != 0) return std::nullopt;
  size_t const number = file.find("<root>");
  if (number == std::string::npos) return std::nullopt;
  return atoi(file.c_str() + number + strlen("<root>"));
}

void load_stores(RehearsalHome const& home, Rehearsal& rehearsal) {
  LoadedStore before = home.load_original();
  LoadedStore after = home.load_current();
  for (auto const* store : {&before, &after}) {
    for (std::string const& note : store->notes) rehearsal.notes.push_back(note);
    // A run that ended before its server was started leaves no store where there was none.
    if (!store->root && !store->absent) rehearsal.notes.push_back(store->failure);
  }
  if (before.root) rehearsal.before_sha256 = store_digest(*before.root);
  if (after.root) rehearsal.after_sha256 = store_digest(*after.root);
  rehearsal.before = std::move(before.root);
  rehearsal.after = std::move(after.root);
}

// Takes the secrets out of everything that will be told.
void mask_secrets(Secrets& secrets, std::string const& salt, Rehearsal& rehearsal) {
  for (Key* const store : {rehearsal.before.get(), rehearsal.after.get()}) {
    if (store == nullptr) continue;
    secrets.learn(*store);
    secrets.mask(*store, salt);
  }
  for (LogLine& line : rehearsal.log) line.message = secrets.hide(line.message);
  for (Finding& finding : rehearsal.findings) finding.text = secrets.hide(finding.text);
  for (std::string& note : rehearsal.notes) note = secrets.hide(note);
}

// Writes what --valid and --verify ask for; what went wrong, empty if nothing did. Takes the stores
// and the log out of the rehearsal, which is told by then.
std::string keep_plan(RehearsalSubject const& subject, RehearsalOptions const& options,
                      std::string const& salt, Rehearsal& rehearsal) {
  if (!rehearsal.before || !rehearsal.after) return "there are no two stores to compare";
  rehearsal.log.clear();
  std::ostringstream report;
  report_json(rehearsal, {}, false, report);
  std::error_code failed;
  Plan const plan{subject.package,
                  fs::is_directory(subject.given, failed),
                  subject.home,
                  options.masked,
                  salt,
                  rehearsal.package_sha256,
                  rehearsal.before_sha256,
                  rehearsal.after_sha256,
                  std::move(rehearsal.before),
                  std::move(rehearsal.after)};
  int const error = write_all(subject.plan, write_plan(plan, report.str()));
  return error == 0 ? "" : strerror(error);
}

int exit_status(int status, Rehearsal const& rehearsal, RehearsalOptions const& options) {
  if (!options.exit_code || status != 0) return status;
  Outline const outline = outline_of(rehearsal);
  if (outline.left_out > 0) return kChangesWithLosses;
  return outline.keys.all() > 0 ? kChanges : kNothingChanges;
}

}  // namespace

int rehearse(RehearsalSubject const& subject, RehearsalOptions const& options) {
  std::error_code failed;
  bool const is_folder = fs::is_directory(subject.given, failed);
  std::string const package = is_folder ? scratch("packed") : subject.given;
  if (is_folder) {
    if (auto const failure = pack(subject.given, package))
      return complain("the folder cannot be packed", *failure);
  }
  RehearsalHome home;
  if (auto const failure = home.lay_out(subject.config)) return complain(subject.config, *failure);
  Rehearsal rehearsal;
  rehearsal.had_store = home.had_store();
  rehearsal.package_sha256 = file_digest(package).value_or("");
  Secrets secrets(options.masked);
  if (LoadedStore const store = home.load_original(); store.root) secrets.learn(*store.root);
  examine(package, rehearsal, secrets);
  if (package == kRenamedPackage) {
    rehearsal.findings.push_back({"package-name", "", "", "",
                                  std::string("the package's path holds \"") + kRegServerProcess +
                                      "\", by which the migration looks for its running server"});
  }

  // Programs want no lines beside their object.
  LineFilter const shown = [&](std::string const& line) { return secrets.hide(line); };
  CommandResult const done = migrate(package, options.json ? LineFilter() : shown);
  rehearsal.result = read_result();
  if (!rehearsal.result) {
    return complain("the run did not come to its end", done.explanation());
  }
  rehearsal.log = read_witnessed_log(scratch("run.log"), scratch("notes"), kUnpackFolder);
  load_stores(home, rehearsal);
  std::string const salt = make_secret();
  if (salt.empty()) {
    return complain("secrets cannot be masked", "the system has no random bytes to give");
  }
  mask_secrets(secrets, salt, rehearsal);

  if (options.json) {
    report_json(rehearsal, options.scope, isatty(STDOUT_FILENO) == 1, std::cout);
  } else {
    report_text(rehearsal, options.scope, {options.detail, takes_colours(STDOUT_FILENO)},
                std::cout);
  }
  if (!std::cout.flush()) return complain("standard output", "cannot be written");
  int const status = exit_status(done.exit_status, rehearsal, options);
  if (subject.plan < 0) return status;
  std::string const failure = keep_plan(subject, options, salt, rehearsal);
  return failure.empty() ? status : complain("the plan cannot be kept", failure);
}

}  // namespace zeva
