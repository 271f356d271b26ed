#include "sandbox.h"

#include "package_key.h"

#include <stdlib.h>
#include <sys/wait.h>

#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr char kHome[] = "/opt/norva/zeva";
constexpr char kPrelude[] =
    "export PATH=/opt/norva/zeva/bin:$PATH ZEVA_HOME=/opt/norva/zeva ASAN_OPTIONS="
    "verify_asan_link_order=0\n"
    "S99Reg() { $ZEVA_HOME/bin/migration/S99Reg \"$@\"; }\n"
    "migrate() { faketime -f '+0 x30' $ZEVA_HOME/bin/migration/zeva-migrate \"$@\"; }\n";

int run_shell(std::string const& command) {
  int status = system(command.c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

Sandbox::Sandbox() {
  for (auto const& folder : {work_, tmp_}) fs::create_directory(folder);
  fs::copy(EXAMPLE_FOLDER, work_ / "export", fs::copy_options::recursive);
  std::ofstream(work_ / "key")
      .write(reinterpret_cast<char const*>(zeva::kPackageKey.data()), zeva::kPackageKey.size());
  std::string install = CMAKE_PROGRAM " --install " BUILD_FOLDER " --prefix " + home_.string();
  if (run_shell(install + " > /dev/null") != 0) abort();
}

Sandbox::Outcome Sandbox::run(std::string const& script, std::string const& more) {
  std::ofstream(root_ / "script") << kPrelude << script;
  std::string folder = root_.string();
  std::string command = "bwrap --ro-bind / / --dev /dev --proc /proc --unshare-pid --unshare-net ";
  command += "--die-with-parent --tmpfs /opt --bind " + home_.string() + " " + kHome;
  command += " --tmpfs /mnt --bind " + work_.string() + " /mnt/work --bind " + tmp_.string();
  command += " /tmp --ro-bind " + folder + "/script /mnt/script --chdir /mnt/work";
  command += " " + more + " sh /mnt/script > " + folder + "/output 2>&1";
  int status = run_shell(command);
  return {status, read_text(root_ / "output")};
}

Lines Sandbox::log(std::string const& name) {
  static std::string const start = "Start migration [";
  Lines lines;
  std::istringstream text(read_text(work_ / name));
  for (std::string line; std::getline(text, line);) {
    size_t header = line.find("l]:");
    if (line.starts_with("[2") && header != std::string::npos) line.erase(0, header + 3);
    if (line.starts_with(start)) line = start + "..." + line.substr(line.find(']'));
    lines.push_back(line);
  }
  return lines;
}

std::string Sandbox::result() const {
  fs::path file = home_ / "xhtml/en/download/mig_result";
  return fs::exists(file) ? read_text(file) : "none";
}

std::string Sandbox::store() {
  return run("zeva-regdump").output;
}
