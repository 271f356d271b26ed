#include "tool.h"

#include "printable.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <utility>
#include <vector>

namespace zeva {

std::optional<int> parse_command_line(CLI::App& app, int argc, char** argv) {
  app.set_version_flag("--version", ZEVA_VERSION);
  try {
    app.parse(argc, argv);
  } catch (CLI::ExtrasError const&) {
    // Its own text has them in reverse, and the mark that ends the options among them.
    std::vector<std::string> surplus = app.remaining();
    auto const mark = std::find(surplus.begin(), surplus.end(), "--");
    if (mark != surplus.end()) surplus.erase(mark);
    std::string names;
    for (std::string const& name : surplus) names += " " + name;
    complain("not expected:" + names, "see --help");
    return kWrongUsage;
  } catch (CLI::ParseError const& stop) {
    if (stop.get_exit_code() == 0) return app.exit(stop);  // --help, --version
    complain(stop.what(), "see --help");
    return kWrongUsage;
  }
  return std::nullopt;
}

int complain(std::string_view subject, std::string_view why) {
  std::string const line = std::string(program_invocation_short_name) + ": " + printable(subject) +
                           ": " + printable(why) + "\n";
  fputs(line.c_str(), stderr);
  return kFailed;
}

char const* reason_of(std::exception const& error) {
  bool const no_memory = dynamic_cast<std::bad_alloc const*>(&error) != nullptr;
  return no_memory ? "there is not enough memory" : error.what();
}

int complain_of(std::exception const& error) {
  return complain("ended early", reason_of(error));
}

std::optional<std::string> own_folder() {
  std::error_code failure;
  std::string own = std::filesystem::read_symlink("/proc/self/exe", failure).parent_path();
  return failure ? std::nullopt : std::optional(std::move(own));
}

void prefer_own_commands() {
  char const* path = getenv("PATH");
  auto const own = own_folder();
  if (!own) return;
  setenv("PATH", (*own + ":" + (path != nullptr ? path : "/usr/bin:/bin")).c_str(), 1);
}

}  // namespace zeva
