// zeva-rehearse: runs a migration in a throw-away copy of a home's store and shows what it would
// do.
//
// The program starts itself again in a sandbox. There it copies the store, examines the package and
// runs the tool itself with a real registry server. The home is only read, and whatever ends the
// rehearsal, nothing of it remains. Exit status: the tool's; 1 when it could not be run, 2 for a
// wrong command line.

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <exception>
#include <filesystem>

#include "command.h"
#include "examine.h"
#include "files.h"
#include "home.h"
#include "live_run.h"
#include "package_key.h"
#include "rehearsal_home.h"
#include "report.h"
#include "sandbox.h"
#include "tool.h"

namespace fs = std::filesystem;

namespace {

constexpr char kUnpackFolder[] = "/tmp/migrate";  // where the run unpacks, in its sandbox

// A path of a sandboxed file, without links and from the root; that of a missing one, too.
std::string full_path(std::string const& name) {
  std::error_code failure;
  fs::path const path = fs::canonical(name, failure);
  return failure ? fs::absolute(name, failure).native() : path.native();
}

std::string scratch(std::string const& name) {
  return zeva::kScratchFolder + ("/" + name);
}

bool run(std::vector<std::string> const& arguments) {
  return zeva::run_command({arguments, "", {}}).succeeded();
}

// Unpacks the package for itself and looks at what is in it. One that cannot be unpacked is left to
// the run, which says so.
std::vector<zeva::Finding> examine(std::string const& package) {
  std::string const copy = scratch("package");
  std::string const folder = scratch("export");
  std::string const key(kPackageKey.begin(), kPackageKey.end());
  std::error_code failure;
  bool const unpacked = zeva::write_new_file(scratch("key"), key) == 0 &&
                        fs::create_directory(folder, failure) && run({"cp", "--", package, copy}) &&
                        run({"rc4", "-dec", "-in", copy, "-key", scratch("key")}) &&
                        run({"tar", "-xzf", copy, "-C", folder});
  return unpacked ? zeva::examine_package(folder).findings : std::vector<zeva::Finding>();
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

void compare(zeva::RehearsalHome const& home, zeva::Rehearsal& rehearsal) {
  zeva::LoadedStore const before = home.load_original();
  zeva::LoadedStore const after = home.load_current();
  for (auto const* store : {&before, &after}) {
    for (std::string const& note : store->notes) rehearsal.notes.push_back(note);
    // A run that ended before its server was started leaves no store where there was none.
    if (!store->root && !store->absent) rehearsal.notes.push_back(store->failure);
  }
  if (before.root && after.root) {
    rehearsal.changes = zeva::compare_stores(*before.root, *after.root);
  }
}

int rehearse(std::string const& config, std::string const& package, bool json) {
  zeva::RehearsalHome home;
  if (std::string const failure = home.lay_out(config); !failure.empty()) {
    return zeva::complain(config, failure);
  }
  zeva::Rehearsal rehearsal;
  rehearsal.had_store = home.had_store();
  rehearsal.findings = examine(package);

  if (!json) puts("The run");
  zeva::CommandResult const done = migrate(package, !json);
  rehearsal.result = read_result();
  if (!rehearsal.result) {
    return zeva::complain("the run did not come to its end", done.explanation());
  }
  rehearsal.log = zeva::read_witnessed_log(scratch("run.log"), scratch("notes"), kUnpackFolder);
  compare(home, rehearsal);

  std::string const report = json ? zeva::report_json(rehearsal)
                                  : zeva::report_text(rehearsal, isatty(STDOUT_FILENO) == 1);
  bool const written = fwrite(report.data(), 1, report.size(), stdout) == report.size();
  if (!written || fflush(stdout) != 0)
    return zeva::complain("standard output", "cannot be written");
  return done.exit_status;
}

// Returns only when there can be no sandbox.
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
  std::vector<std::string> visible;
  for (std::string const& path : {config, package}) {
    if (fs::exists(path, failure)) visible.push_back(path);
  }
  std::vector<std::string> arguments{"--", package};
  if (json) arguments.insert(arguments.begin(), "--json");
  zeva::enter_sandbox(installation, visible, config, arguments);
  return zeva::complain("bwrap cannot be run",
                        std::string(strerror(errno)) + "; it is in the package bubblewrap");
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app(
      "Shows what the migration of a package would do to a home's policy store: the real\n"
      "tool runs in a sandbox, in a copy that is thrown away. The home is only read.");
  std::string home = zeva::home_folder();
  std::string package;
  bool json = false;
  app.add_option("--from", home, "the home whose store to begin with (default: $ZEVA_HOME)");
  app.add_flag("--json", json, "print one JSON object");
  app.add_option("PKG", package, "the settings package")->required();
  if (auto const status = zeva::parse_command_line(app, argc, argv)) return *status;

  auto const config = zeva::sandboxed_subject();
  if (!config) return start(home, full_path(package), json);
  zeva::prefer_own_commands();
  return rehearse(*config, package, json);
} catch (std::exception const& error) {
  return zeva::complain("ended early", error.what());
}
