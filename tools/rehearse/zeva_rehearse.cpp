// zeva-rehearse: runs a migration in a throw-away copy of a home's store and shows what it would
// do.
//
// The program starts itself again in a sandbox. There it copies the store, examines the package and
// runs the tool itself with a real registry server. The home is only read, and whatever ends the
// rehearsal, nothing of it remains. Exit status: the tool's; 1 when it could not be run, 2 for a
// wrong command line.

#include "product_home.h"
#include "regserver_control.h"
#include "rehearsal.h"
#include "sandbox.h"
#include "tool.h"

#include <errno.h>
#include <signal.h>
#include <string.h>

#include <exception>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

// A path of a sandboxed file, without links and from the root; that of a missing one, too.
std::string full_path(std::string const& name) {
  std::error_code failure;
  fs::path const path = fs::canonical(name, failure);
  return failure ? fs::absolute(name, failure).native() : path.native();
}

// What the sandbox must show of the machine. A home without a store begins with its own factory's.
zeva::Visible visible_of(std::string const& config, std::string const& package,
                         std::string const& given) {
  zeva::Visible visible;
  std::error_code failure;
  for (auto const& [path, seen_at] : zeva::Visible{
           {config, config},
           {config + "/factory.xml", std::string(zeva::kScratchHome) + "/config/factory.xml"},
           {package, given}}) {
    if (fs::exists(path, failure)) visible.emplace_back(path, seen_at);
  }
  return visible;
}

int start(std::string const& home, std::string const& package, bool json) {
  std::error_code failure;
  std::string const installation = fs::path(zeva::own_folder().value_or("")).parent_path();
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
  // The run takes any process with its server's name in its command line for the server, itself as
  // well when the package's path holds that name.
  bool const renamed = covers || package.find(zeva::kRegServerProcess) != std::string::npos;
  std::string const given = renamed ? zeva::kRenamedPackage : package;
  std::vector<std::string> arguments{"--", given};
  if (json) arguments.insert(arguments.begin(), "--json");
  int const status =
      zeva::run_in_sandbox(installation, visible_of(config, package, given), config, arguments);
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
  return zeva::rehearse(*config, package, json);
} catch (std::exception const& error) {
  return zeva::complain_of(error);
}
