// zeva-rehearse: runs a migration in a throw-away copy of a home's store and shows what it would
// do.
//
// The program starts itself again in a sandbox. There it copies the store, examines the package and
// runs the tool itself with a real registry server. The home is only read, and whatever ends the
// rehearsal, nothing of it remains. Exit status: the tool's; 1 when it could not be run, 2 for a
// wrong command line.

#include "command.h"
#include "examine.h"
#include "files.h"
#include "live_run.h"
#include "package_key.h"
#include "product_home.h"
#include "rehearsal_home.h"
#include "report.h"
#include "sandbox.h"
#include "terminal.h"
#include "tool.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <iostream>

namespace fs = std::filesystem;

namespace {

constexpr char kUnpackFolder[] = "/tmp/migrate";  // where the run unpacks, in its sandbox

// The run takes any process with this word in its command line for its server, itself as well when
// the package's path holds it. The sandbox then has the package under another name.
constexpr char kServerName[] = "regserver";
constexpr char kRenamedPackage[] = "/tmp/.zeva-rehearsal/renamed-package";

// A path of a sandboxed file, without links and from the root; that of a missing one, too.
std::string full_path(std::string const& name) {
  std::error_code failure;
  fs::path const path = fs::canonical(name, failure);
  return failure ? fs::absolute(name, failure).native() : path.native();
}

std::string scratch(std::string const& name) {
  return zeva::kScratchFolder + ("/" + name);
}

// Makes a package of a folder of export files; what went wrong, empty if nothing did.
std::string pack(std::string const& folder, std::string const& package) {
  zeva::LongWait wait("the export to be packed");
  zeva::CommandResult const done = zeva::run_command(
      {{"zeva-pack", "--", folder, package}, "", [&](std::string const&) { wait.show(); }});
  return done.succeeded() ? "" : done.explanation();
}

// Unpacks the package for itself and looks at what is in it.
void examine(std::string const& package, zeva::Rehearsal& rehearsal) {
  std::string const copy = scratch("package");
  std::string const folder = scratch("export");
  std::string const key(kPackageKey.begin(), kPackageKey.end());
  zeva::LongWait wait("the examination of the package");
  auto const go_on = [&](std::string const& = "") { wait.show(); };
  std::string& why_not = rehearsal.not_examined;
  int const error = zeva::write_new_file(scratch("key"), key);
  if (error != 0) why_not = std::string("the key cannot be written: ") + strerror(error);
  for (std::vector<std::string> const& command :
       {std::vector<std::string>{"cp", "--", package, copy},
        {"rc4", "-dec", "-in", copy, "-key", scratch("key")},
        {"mkdir", folder},
        {"tar", "-xzf", copy, "-C", folder}}) {
    if (!why_not.empty()) return;
    zeva::CommandResult const done = zeva::run_command({command, "", go_on});
    if (!done.succeeded()) why_not = done.explanation();
  }
  if (why_not.empty()) rehearsal.findings = zeva::examine_package(folder, go_on).findings;
}

zeva::CommandResult migrate(std::string const& package, bool show_lines) {
  // Another library that is preloaded everywhere stays so.
  char const* const preloaded = getenv("LD_PRELOAD");
  std::string const home = zeva::kScratchHome;
  zeva::LiveRun live(show_lines);
  return zeva::run_command({{"env",
                             "LD_PRELOAD=" + home + "/lib/libzevawitness.so" +
                                 (preloaded != nullptr ? std::string(":") + preloaded : ""),
                             "ZEVA_WITNESS=" + scratch("notes"),
                             home + "/bin/migration/zeva-migrate", package, scratch("run.log")},
                            "",
                            [&](std::string const& piece) { live.take(piece); }});
}

// The console's result file is the run's last word.
std::optional<int> read_result() {
  std::string file;
  std::string const path = std::string(zeva::kScratchHome) + "/xhtml/en/download/mig_result";
  if (zeva::read_file(path, file) != 0) return std::nullopt;
  size_t const number = file.find("<root>");
  if (number == std::string::npos) return std::nullopt;
  return atoi(file.c_str() + number + strlen("<root>"));
}

void load_stores(zeva::RehearsalHome const& home, zeva::Rehearsal& rehearsal) {
  zeva::LoadedStore before = home.load_original();
  zeva::LoadedStore after = home.load_current();
  for (auto const* store : {&before, &after}) {
    for (std::string const& note : store->notes) rehearsal.notes.push_back(note);
    // A run that ended before its server was started leaves no store where there was none.
    if (!store->root && !store->absent) rehearsal.notes.push_back(store->failure);
  }
  rehearsal.before = std::move(before.root);
  rehearsal.after = std::move(after.root);
}

int rehearse(std::string const& config, std::string const& given, bool json) {
  std::error_code failed;
  bool const is_folder = fs::is_directory(given, failed);
  std::string const package = is_folder ? scratch("packed") : given;
  if (is_folder) {
    std::string const failure = pack(given, package);
    if (!failure.empty()) return zeva::complain("the folder cannot be packed", failure);
  }
  zeva::RehearsalHome home;
  if (std::string const failure = home.lay_out(config); !failure.empty()) {
    return zeva::complain(config, failure);
  }
  zeva::Rehearsal rehearsal;
  rehearsal.had_store = home.had_store();
  examine(package, rehearsal);
  if (package == kRenamedPackage) {
    rehearsal.findings.push_back(
        {"package-name", "", "",
         std::string("the package's path holds \"") + kServerName +
             "\", by which the migration looks for its running server: rename the package"});
  }

  if (!json) puts("The run");
  zeva::CommandResult const done = migrate(package, !json);
  rehearsal.result = read_result();
  if (!rehearsal.result) {
    return zeva::complain("the run did not come to its end", done.explanation());
  }
  rehearsal.log = zeva::read_witnessed_log(scratch("run.log"), scratch("notes"), kUnpackFolder);
  load_stores(home, rehearsal);

  if (json) {
    zeva::report_json(rehearsal, isatty(STDOUT_FILENO) == 1, std::cout);
  } else {
    zeva::report_text(rehearsal, zeva::takes_colours(STDOUT_FILENO), std::cout);
  }
  if (!std::cout.flush()) return zeva::complain("standard output", "cannot be written");
  return done.exit_status;
}

int start(std::string const& home, std::string const& package, bool json) {
  std::error_code failure;
  std::string const installation = fs::path(zeva::own_folder()).parent_path();
  if (!fs::exists(installation + "/bin/migration/zeva-migrate", failure)) {
    return zeva::complain(installation, "holds no bin/migration/zeva-migrate to rehearse with");
  }
  // An empty home counts: its paths begin at the root.
  if (!fs::is_directory(home + "/", failure)) {
    return zeva::complain(home, "is no folder to take a store from");
  }
  std::string const config = full_path(home + "/config");
  // A folder above the sandbox's own one would cover it.
  bool const covers =
      (std::string(zeva::kScratchFolder) + "/").starts_with((fs::path(package) / "").native());
  bool const renamed = covers || package.find(kServerName) != std::string::npos;
  std::string const given = renamed ? kRenamedPackage : package;
  zeva::Visible visible;
  // A home without a store begins with its own factory's.
  for (auto const& [path, seen_at] : zeva::Visible{
           {config, config},
           {config + "/factory.xml", std::string(zeva::kScratchHome) + "/config/factory.xml"},
           {package, given}}) {
    if (fs::exists(path, failure)) visible.emplace_back(path, seen_at);
  }
  std::vector<std::string> arguments{"--", given};
  if (json) arguments.insert(arguments.begin(), "--json");
  int const status = zeva::run_in_sandbox(installation, visible, config, arguments);
  if (status < 0) {
    return zeva::complain("bwrap cannot be run",
                          std::string(strerror(errno)) + "; it is in the package bubblewrap");
  }
  if (status == 128 + SIGKILL) {
    zeva::complain("the rehearsal was killed", "perhaps there was not enough memory for it");
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app(
      "Shows what the migration of a package would do to a home's policy store: the real\n"
      "tool runs in a sandbox, in a copy that is thrown away. The home is only read.");
  std::string home = zeva::product_home();
  std::string package;
  bool json = false;
  app.add_option("--from", home, "the home whose store to begin with (default: $ZEVA_HOME)");
  app.add_flag("--json", json, "print one JSON object");
  app.add_option("PKG", package, "the settings package, or a folder of export files to pack first")
      ->required();
  if (auto const status = zeva::parse_command_line(app, argc, argv)) return *status;

  auto const config = zeva::sandboxed_subject();
  if (!config) return start(home, full_path(package), json);
  zeva::prefer_own_commands();
  return rehearse(*config, package, json);
} catch (std::exception const& error) {
  return zeva::complain_of(error);
}
