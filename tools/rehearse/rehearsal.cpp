#include "rehearsal.h"

#include "command.h"
#include "digest.h"
#include "examine.h"
#include "export_secrets.h"
#include "files.h"
#include "html_report.h"
#include "json_report.h"
#include "live_run.h"
#include "opened_package.h"
#include "plan.h"
#include "proof.h"
#include "real_paths.h"
#include "regserver_control.h"
#include "rehearsal_home.h"
#include "results.h"
#include "sandbox.h"
#include "secrets.h"
#include "store_copy.h"
#include "terminal.h"
#include "tool.h"
#include "unpacking.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <sstream>

namespace fs = std::filesystem;

namespace zeva {
namespace {

using Findings = std::vector<Finding>;

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

uint64_t size_of(fs::path const& file) {
  std::error_code failure;
  uintmax_t const size = fs::file_size(file, failure);
  return failure ? 0 : size;
}

uint64_t size_below(std::string const& folder) {
  uint64_t size = 0;
  std::error_code failure;
  for (auto entry = fs::recursive_directory_iterator(folder, failure);
       !failure && entry != fs::end(entry); entry.increment(failure)) {
    if (entry->symlink_status().type() == fs::file_type::regular) size += size_of(entry->path());
  }
  return size;
}

// What is found in an export and about the name of its package. The export of a folder is not
// packed yet.
Findings look_at_export(RehearsalSubject const& subject, std::string const& folder, bool is_packed,
                        Key const* store, std::function<void()> const& go_on) {
  Findings findings =
      examine_package(folder, {.store = store, .is_packed = is_packed, .go_on = go_on});
  if (subject.package.find(kRegServerProcess) != std::string::npos) {
    findings.push_back({"package-name", "", "", "",
                        std::string("the package's path holds \"") + kRegServerProcess +
                            "\", by which the migration looks for its running server"});
  }
  return findings;
}

// What is found on the machine. Without a package yet it is taken to be no larger than its export.
Findings look_at_machine(RehearsalSubject const& subject, std::string const& folder,
                         std::string const& package) {
  if (!subject.target) return {};
  Findings findings = subject.target->findings;
  Burden burden{.unpacked = size_below(folder)};
  burden.package = package.empty() ? burden.unpacked : size_of(package);
  for (char const* file : kStoreFiles) burden.store += size_of(subject.config + file);
  report_room(*subject.target, burden, findings);
  return findings;
}

// Unpacks the package for itself and looks at what is in it.
void examine(RehearsalSubject const& subject, std::string const& package, Key const* store,
             Rehearsal& rehearsal, Secrets& secrets) {
  std::string const folder = scratch("export");
  LongWait wait("the examination of the package");
  auto const go_on = [&] { wait.show(); };
  rehearsal.not_examined = unpack(package, kScratchFolder, folder, go_on).value_or("");
  rehearsal.target = look_at_machine(subject, folder, package);
  if (!rehearsal.not_examined.empty()) return;
  learn_export(folder, secrets);
  rehearsal.findings = look_at_export(subject, folder, true, store, go_on);
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

void load_stores(LoadedStore before, RehearsalHome const& home, Rehearsal& rehearsal) {
  LoadedStore after = home.load_current();
  for (auto const* store : {&before, &after}) {
    for (std::string const& note : store->notes) rehearsal.notes.push_back(note);
    // A run that ended before its server was started leaves no store where there was none.
    bool const may_be_absent = !rehearsal.had_store && rehearsal.result != kImported;
    if (!store->root && !(store->absent && may_be_absent)) {
      rehearsal.notes.push_back(store->failure);
    }
  }
  if (before.root) rehearsal.before_sha256 = store_digest(*before.root);
  if (after.root) rehearsal.after_sha256 = store_digest(*after.root);
  rehearsal.before = std::move(before.root);
  rehearsal.after = std::move(after.root);
}

RealPaths real_paths(RehearsalSubject const& subject) {
  RealPaths paths;
  paths.add(kScratchHome, subject.home);
  for (std::string const& package : {scratch("packed"), subject.given}) {
    paths.add(package, subject.package);
  }
  return paths;
}

void show_real_paths(RealPaths const& real, Rehearsal& rehearsal) {
  for (LogLine& line : rehearsal.log) line.message = real.in(line.message);
  for (std::string& note : rehearsal.notes) note = real.in(note);
  rehearsal.not_examined = real.in(rehearsal.not_examined);
}

void hide_secrets(Secrets const& secrets, Findings& findings) {
  for (Finding& finding : findings) finding.text = secrets.hide(finding.text);
}

// Takes the secrets out of everything that will be told.
void mask_secrets(Secrets& secrets, std::string const& salt, Rehearsal& rehearsal) {
  for (Key* const store : {rehearsal.before.get(), rehearsal.after.get()}) {
    if (store == nullptr) continue;
    secrets.learn(*store);
    secrets.mask(*store, salt);
  }
  for (LogLine& line : rehearsal.log) line.message = secrets.hide(line.message);
  hide_secrets(secrets, rehearsal.findings);
  hide_secrets(secrets, rehearsal.target);
  for (std::string& note : rehearsal.notes) note = secrets.hide(note);
  rehearsal.not_examined = secrets.hide(rehearsal.not_examined);
}

// A misspelt path would mask nothing.
void complain_of_missing_keys(RehearsalOptions const& options, Rehearsal const& rehearsal) {
  for (std::string const& key : options.masked) {
    bool const is_there = (rehearsal.before && find_key(*rehearsal.before, key) != nullptr) ||
                          (rehearsal.after && find_key(*rehearsal.after, key) != nullptr);
    if (!is_there) complain(key, "is no key of the store: --mask has masked nothing there");
  }
}

// Writes what --valid and --verify ask for; what went wrong, nothing if nothing did. Takes the
// stores and the log out of the rehearsal, which is told by then.
std::optional<std::string> keep_plan(RehearsalSubject const& subject,
                                     RehearsalOptions const& options, std::string const& salt,
                                     Outline const& outline, Rehearsal& rehearsal) {
  if (rehearsal.result != kImported) return "the run has failed";
  if (!rehearsal.before || !rehearsal.after) return "there are no two stores to compare";
  rehearsal.log.clear();
  std::ostringstream report;
  report_json(rehearsal, outline, {}, false, report);
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
  return error == 0 ? std::nullopt : std::optional<std::string>(strerror(error));
}

int exit_status(int status, Rehearsal const& rehearsal, Outline const& outline,
                RehearsalOptions const& options) {
  if (!options.exit_code || status != 0) return status;
  if (!outline.can_compare || !rehearsal.not_examined.empty()) {
    return complain("no exit code", "what would change, or what is left out, cannot be told");
  }
  if (outline.left_out > 0) return kChangesWithLosses;
  return outline.keys.all() > 0 ? kChanges : kNothingChanges;
}

}  // namespace

int rehearse(RehearsalSubject const& subject, RehearsalOptions const& options) {
  RealPaths const real = real_paths(subject);
  std::error_code failed;
  bool const is_folder = fs::is_directory(subject.given, failed);
  std::string const package = is_folder ? scratch("packed") : subject.given;
  if (is_folder) {
    if (auto const failure = pack(subject.given, package))
      return complain("the folder cannot be packed", real.in(*failure));
  }
  RehearsalHome home;
  if (auto const failure = home.lay_out(subject.config))
    return complain(subject.config, real.in(*failure));
  Rehearsal rehearsal;
  rehearsal.had_store = home.had_store();
  rehearsal.package_sha256 = file_digest(package).value_or("");
  Secrets secrets(options.masked);
  LoadedStore before = home.load_original();
  if (before.root) secrets.learn(*before.root);
  examine(subject, package, before.root.get(), rehearsal, secrets);

  // Programs want no lines beside their object.
  LineFilter const shown = [&](std::string const& line) { return real.in(secrets.hide(line)); };
  CommandResult const done = migrate(package, options.json ? LineFilter() : shown);
  rehearsal.result = read_result();
  if (!rehearsal.result) {
    return complain("the run did not come to its end", shown(done.explanation()));
  }
  rehearsal.log = read_witnessed_log(scratch("run.log"), scratch("notes"), kUnpackFolder);
  load_stores(std::move(before), home, rehearsal);
  show_real_paths(real, rehearsal);
  std::string const salt = make_secret();
  if (salt.empty()) {
    return complain("secrets cannot be masked", "the system has no random bytes to give");
  }
  mask_secrets(secrets, salt, rehearsal);
  complain_of_missing_keys(options, rehearsal);

  Outline const outline = outline_of(rehearsal);
  if (options.json) {
    report_json(rehearsal, outline, options.scope, isatty(STDOUT_FILENO) == 1, std::cout);
  } else {
    report_text(rehearsal, outline, options.scope, {options.detail, takes_colours(STDOUT_FILENO)},
                std::cout);
  }
  if (!std::cout.flush()) return complain("standard output", "cannot be written");
  if (subject.page >= 0) {
    int const error = write_all(subject.page, report_html(rehearsal, outline, options.scope));
    if (error != 0) return complain("the page cannot be written", strerror(error));
  }
  int const status = exit_status(done.exit_status, rehearsal, outline, options);
  if (subject.plan < 0) return status;
  auto const failure = keep_plan(subject, options, salt, outline, rehearsal);
  if (!failure) return status;
  complain("the plan is not kept", *failure);
  // What else was written counts after a run that failed by itself.
  return rehearsal.result != kImported ? status : kFailed;
}

int check(RehearsalSubject const& subject, RehearsalOptions const& options) {
  RealPaths const real = real_paths(subject);
  std::error_code failed;
  bool const is_folder = fs::is_directory(subject.given, failed);
  std::string const folder = is_folder ? subject.given : scratch("export");
  Secrets secrets(options.masked);
  RehearsalHome home;
  LoadedStore before;
  if (!subject.config.empty()) {
    if (auto const failure = home.lay_out(subject.config))
      return complain(subject.config, real.in(*failure));
    before = home.load_original();
    if (before.root) secrets.learn(*before.root);
  }
  LongWait wait("the examination of the package");
  auto const go_on = [&] { wait.show(); };
  if (!is_folder) {
    if (auto const failure = unpack(subject.given, kScratchFolder, folder, go_on)) {
      return complain(subject.package, real.in(*failure));
    }
  }
  learn_export(folder, secrets);
  Findings findings = look_at_export(subject, folder, !is_folder, before.root.get(), go_on);
  Findings const machine = look_at_machine(subject, folder, is_folder ? "" : subject.given);
  findings.insert(findings.end(), machine.begin(), machine.end());
  hide_secrets(secrets, findings);
  wait.clear();

  if (options.json) {
    report_findings_json(findings, isatty(STDOUT_FILENO) == 1, std::cout);
  } else {
    report_findings_text(findings, std::cout);
  }
  if (!std::cout.flush()) return complain("standard output", "cannot be written");
  auto const has = [&](Severity severity) {
    return std::ranges::find(findings, severity, &Finding::severity) != findings.end();
  };
  return has(Severity::kError) ? kErrorsFound : has(Severity::kLoss) ? kLossesFound : 0;
}

}  // namespace zeva
