// zeva-rehearse: runs a migration in a throw-away copy of a home's store and shows what it would
// do.
//
// The program starts itself again in a sandbox. There it copies the store, examines the package and
// runs the tool itself with a real registry server. The home is only read, and whatever ends the
// rehearsal, nothing of it remains but the plan and the page that it was asked for; SIGKILL may
// leave a file beside where these were to be. Exit status: the tool's; 1 when it could not be run,
// 2 for a wrong command line. With --check there is no run: 0, 1, 2, or 3 when losses were found
// and 4 when errors were.

#include "held_plan.h"
#include "kept_file.h"
#include "nvreg.h"
#include "product_home.h"
#include "regpath.h"
#include "regserver_control.h"
#include "rehearsal.h"
#include "results.h"
#include "sandbox.h"
#include "tool.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

// A path of a sandboxed file, without links and from the root; that of a missing one, too.
std::string full_path(std::string const& name) {
  std::error_code failure;
  fs::path const path = fs::canonical(name, failure);
  return failure ? fs::absolute(name, failure).lexically_normal().native() : path.native();
}

// What the sandbox must show of the machine. A home without a store begins with its own factory's.
zeva::Visible visible_of(std::string const& config, std::string const& package,
                         std::string const& given) {
  zeva::Visible visible;
  if (!config.empty()) {
    visible.emplace_back(config, config);
    visible.emplace_back(config + "/factory.xml",
                         std::string(zeva::kScratchHome) + "/config/factory.xml");
  }
  visible.emplace_back(package, given);
  std::error_code failure;
  std::erase_if(visible, [&](auto const& path) { return !fs::exists(path.first, failure); });
  return visible;
}

// Whether an exit status of the sandbox says that a report was made: the low bits of a run's code,
// or what --exit-code makes of it.
bool is_of_report(int status) {
  return status == zeva::kChanges || status == zeva::kChangesWithLosses ||
         std::ranges::any_of(zeva::kResults, [&](zeva::Result const& result) {
           return (result.code & 0xFF) == status;
         });
}

// What a rehearsal leaves behind: its plan and its page.
using Kept = std::array<zeva::KeptFile, 2>;
using KeptNames = std::array<std::string, 2>;  // empty for what is not wanted

// `line` is the command line; the sandbox gets it again, and the signal mask. Without a home, only
// the package is looked at.
int start(std::optional<std::string> const& home, std::string const& package, Kept const& kept,
          std::vector<std::string> line, sigset_t const& mask) {
  std::error_code failure;
  std::string const installation = fs::path(zeva::own_folder().value_or("")).parent_path();
  if (!fs::exists(installation + "/bin/migration/zeva-migrate", failure)) {
    return zeva::complain(installation, "holds no bin/migration/zeva-migrate to rehearse with");
  }
  // An empty home counts: its paths begin at the root.
  if (home && !fs::is_directory(*home + "/", failure)) {
    return zeva::complain(*home, "is no folder to take a store from");
  }
  std::string const config = home ? full_path(*home + "/config") : "";
  // A folder above the sandbox's own one would cover it.
  bool const covers =
      (std::string(zeva::kScratchFolder) + "/").starts_with((fs::path(package) / "").native());
  // The run takes any process with its server's name in its command line for the server, itself as
  // well when the package's path holds that name.
  bool const renamed = covers || package.find(zeva::kRegServerProcess) != std::string::npos;
  std::string const given = renamed ? zeva::kRenamedPackage : package;
  std::vector<std::string> const target =
      home ? zeva::texts_of(zeva::look_at_target(*home)) : std::vector<std::string>();
  line.insert(line.begin(), target.begin(), target.end());
  line.insert(line.begin(), {home ? full_path(*home) : "", config, package, given,
                             std::to_string(kept[0].descriptor()),
                             std::to_string(kept[1].descriptor()), std::to_string(target.size())});
  int const status =
      zeva::run_in_sandbox(installation, visible_of(config, package, given), line, mask);
  if (status < 0) {
    return zeva::complain("bwrap cannot be run",
                          std::string(strerror(errno)) + "; it is in the package bubblewrap");
  }
  if (status == 128 + SIGKILL) {
    zeva::complain("the rehearsal was killed", "perhaps there was not enough memory for it");
  }
  return status;
}

int start_and_keep(std::optional<std::string> const& home, std::string const& package,
                   KeptNames const& names, std::vector<std::string> const& line) {
  std::set<std::string> taken{package};
  for (std::string const& name : names) {
    if (name.empty() || taken.insert(full_path(name)).second) continue;
    return zeva::complain(name, "cannot be two of the package, the plan and the page");
  }
  sigset_t const mask = zeva::hold_ending_signals();
  Kept files;
  for (size_t i = 0; i < files.size(); ++i) {
    int const error = names[i].empty() ? 0 : files[i].make(names[i]);
    if (error == EEXIST) return zeva::complain(names[i], "is no file that could be replaced");
    if (error != 0) return zeva::complain(names[i], strerror(error));
  }
  int const status = start(home, package, files, line, mask);
  if (!is_of_report(status)) return status;
  for (size_t i = 0; i < files.size(); ++i) {
    // There is no plan of a run that failed.
    int const error = files[i].is_written() ? files[i].keep() : 0;
    if (error != 0) return zeva::complain(names[i], strerror(error));
  }
  return status;
}

// The normal form of a key's path.
std::string normal_path(std::string const& key) {
  std::string path;
  if (zeva::join_path("", key, path) != NVREG_OK) {
    throw CLI::ValidationError(key, "is no key's path");
  }
  return path;
}

class CommandLine {
 public:
  CommandLine() {
    app_.add_option("PKG", package, "the settings package, or a folder of export files")
        ->option_text(" ");
    app_.add_option("--from", home, "begin with the store of this home\n(default: $ZEVA_HOME)")
        ->option_text("HOME");
    add_output_options();
    add_file_options();
  }

  std::optional<int> parse(int argc, char** argv) {
    if (auto const status = zeva::parse_command_line(app_, argc, argv)) return status;
    bool const has_plan = app_.count("--valid") + app_.count("--verify") > 0;
    for (char const* const option : {"--json", "--check", "--summary", "--names", "--only", "--key",
                                     "--mask", "--exit-code", "--html", "--save"}) {
      if (!has_plan || app_.count(option) == 0) continue;
      zeva::complain(option,
                     "does not go with --valid and --verify, which run nothing; see --help");
      return zeva::kWrongUsage;
    }
    if (has_plan || !package.empty()) return std::nullopt;
    zeva::complain("PKG is required", "see --help");
    return zeva::kWrongUsage;
  }

  // The home to look at for a plan; empty for the plan's own.
  [[nodiscard]] std::string home_instead() const { return app_.count("--from") > 0 ? home : ""; }

  // The home to begin with; none where a package is to be looked at alone.
  [[nodiscard]] std::optional<std::string> home_to_start() const {
    bool const alone = options.check && app_.count("--from") == 0;
    return alone ? std::nullopt : std::optional(home);
  }

  std::string home = zeva::product_home();
  std::string package;
  KeptNames kept;
  std::string plan_to_check;
  std::string plan_to_verify;
  zeva::RehearsalOptions options;

 private:
  void add_output_options() {
    using Detail = zeva::TextStyle::Detail;
    auto* json = app_.add_flag("--json", options.json, "print one JSON object");
    auto* check = app_.add_flag("--check", options.check,
                                "do not run: what is found in the package, and with\n"
                                "--from in that home and on this machine; exit with\n"
                                "0 for notes alone, 3 for losses, 4 for errors");
    auto* summary = app_.add_flag_callback(
        "--summary", [&] { options.detail = Detail::kSummary; }, "leave out changes and log");
    auto* names = app_.add_flag_callback(
        "--names", [&] { options.detail = Detail::kNames; }, "show keys without their values");
    names->excludes(json, summary)->option_text(" ");
    summary->excludes(json)->option_text(" ");
    json->option_text(" ");
    app_.add_option_function<std::string>(
            "--only", [&](std::string const& id) { options.scope.area = zeva::area_named(id); },
            "show the changes of one area:\n" + CLI::detail::join(area_ids(), "\n"))
        ->check(CLI::IsMember(area_ids()))
        ->option_text("AREA");
    app_.add_option("--key", options.scope.key, "show the changes at and below this key")
        ->transform(normal_path)
        ->option_text("PREFIX");
    app_.add_option("--mask", options.masked,
                    "mask the values at and below this key, too, not\n"
                    "only those whose names say that they are secret;\n"
                    "may be given again")
        ->transform(normal_path)
        ->allow_extra_args(false)
        ->option_text("PREFIX");
    auto* exit_code = app_.add_flag("--exit-code", options.exit_code,
                                    "after a run that came to its end, exit with\n"
                                    "0 when nothing would change, 3 for changes,\n"
                                    "4 when something of the package is left out");
    check->excludes(summary, names, exit_code)->option_text(" ");
    exit_code->option_text(" ");
  }

  void add_file_options() {
    auto* html = app_.add_option("--html", kept[1], "write a page for a browser to this file, too");
    auto* save = app_.add_option("--save", kept[0], "keep the plan in this file");
    auto* valid = app_.add_option("--valid", plan_to_check,
                                  "do not run: are the package (PKG, if given) and\n"
                                  "the store still those of this plan?");
    auto* verify = app_.add_option("--verify", plan_to_verify,
                                   "do not run: has the store become what this\nplan says?");
    valid->excludes(verify);
    for (CLI::Option* const kept_file : {html, save}) {
      kept_file->excludes(app_.get_option("--check"));
    }
    for (CLI::Option* const option : {html, save, valid, verify}) {
      option->option_text("FILE")->check([](std::string const& name) {
        return name.empty() ? std::string("no file is named") : std::string();
      });
    }
  }

  static std::vector<std::string> area_ids() {
    std::vector<std::string> ids;
    for (zeva::AreaName const& area : zeva::kAreas) ids.emplace_back(area.id);
    return ids;
  }

  CLI::App app_{
      "Shows what the migration of a package would do to a home's policy store: the\n"
      "real tool runs in a sandbox, in a copy that is thrown away. The home is only\n"
      "read."};
};

// In the sandbox: what start() has put before the command line, and that.
int rehearse(std::vector<std::string> arguments) {
  constexpr size_t kOwn = 7;
  size_t const texts = arguments.size() > kOwn ? strtoul(arguments[6].c_str(), nullptr, 10) : 0;
  size_t const before = kOwn + texts;
  if (arguments.size() <= before) return zeva::kFailed;
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  CommandLine line;
  if (auto const status =
          line.parse(static_cast<int>(pointers.size() - before), pointers.data() + before)) {
    return *status;
  }
  zeva::prefer_own_commands();
  int const plan = atoi(arguments[4].c_str());
  int const page = atoi(arguments[5].c_str());
  // No command that is run may write to them.
  for (int const file : {plan, page}) fcntl(file, F_SETFD, FD_CLOEXEC);
  zeva::RehearsalSubject subject{arguments[0], arguments[1], arguments[2], arguments[3],
                                 plan,         page,         std::nullopt};
  if (texts > 0) subject.target = zeva::target_of(std::span(arguments).subspan(kOwn, texts));
  return line.options.check ? zeva::check(subject, line.options)
                            : zeva::rehearse(subject, line.options);
}

// A file that is opened now must not take the place of a standard one that is closed. Writing to
// these fails as before.
void fill_standard_descriptors() {
  for (int const file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(file, F_GETFD) < 0) (void)open("/dev/null", O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  fill_standard_descriptors();
  if (auto const arguments = zeva::sandboxed_arguments()) return rehearse(*arguments);
  CommandLine line;
  if (auto const status = line.parse(argc, argv)) return *status;
  if (!line.plan_to_check.empty()) {
    return zeva::check_plan(line.plan_to_check, line.package, line.home_instead());
  }
  if (!line.plan_to_verify.empty()) {
    return zeva::verify_plan(line.plan_to_verify, line.home_instead());
  }
  return start_and_keep(line.home_to_start(), full_path(line.package), line.kept,
                        {argv, argv + argc});
} catch (std::exception const& error) {
  return zeva::complain_of(error);
}
