#include "target.h"

#include "descriptor.h"
#include "files.h"
#include "frame.h"
#include "nvreg.h"
#include "opened_package.h"
#include "port.h"
#include "product_home.h"
#include "regserver_address.h"
#include "regserver_control.h"
#include "run_lock.h"

#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pwd.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>

namespace fs = std::filesystem;

namespace zeva {
namespace {

using Findings = std::vector<Finding>;

std::string owner_of(struct stat const& file) {
  passwd const* const user = getpwuid(file.st_uid);
  return user != nullptr ? user->pw_name : "user " + std::to_string(file.st_uid);
}

bool is_ours(struct stat const& file) {
  return file.st_uid == geteuid();
}

// Why nothing can be written in a folder: 0 where it can, or errno's number.
int why_not_writable(std::string const& folder) {
  struct stat found;
  if (stat(folder.c_str(), &found) != 0) return errno;
  if (!S_ISDIR(found.st_mode)) return ENOTDIR;
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

// What to do about it, where another user than this would not do.
char const* advice_on(int error) {
  return error == ENOENT    ? "make that folder"
         : error == ENOTDIR ? "make a folder there; a file stands in its path"
         : error == EROFS   ? "mount that file system for writing"
                            : nullptr;
}

void look_at_folders(std::string const& home, Findings& findings) {
  struct Folder {
    std::string path;
    char const* use;
    Severity severity;
  };
  std::error_code failure;
  std::string const backup = home + "/config/backup";
  for (Folder const& folder :
       {Folder{home + "/config", "the store and its backup", Severity::kError},
        Folder{fs::exists(backup, failure) ? backup : home + "/config", "the store's backup",
               Severity::kError},
        Folder{home + "/xhtml/en/download", "the result for the console", Severity::kNote},
        Folder{fs::current_path(failure), "the run log, if the run is started here",
               Severity::kNote}}) {
    int const error = why_not_writable(folder.path);
    bool const told = std::ranges::find(findings, folder.path, &Finding::file) != findings.end();
    if (error == 0 || told || folder.path.empty()) continue;
    findings.push_back({"not-writable", folder.path, "", "",
                        "cannot be written by this user, as " + std::string(folder.use) +
                            " must be: " + strerror(error)});
    findings.back().severity = folder.severity;
    if (char const* const advice = advice_on(error)) findings.back().advice = advice;
  }
}

// Whoever listens there proves to be the home's server, or is somebody else. It is asked by a
// process that ends with its connection: a registry that is closed may write a snapshot.
bool is_server_of(std::string const& home, std::string const& port) {
  pid_t const child = fork();
  if (child == 0) {
    setenv("ZEVA_HOME", home.c_str(), 1);
    int32_t status = 0;
    _NvPolComHandle* root = nullptr;
    _exit(nvreg_open(1, ("ZEVA:" + port).c_str(), &root, &status) != nullptr ? 0 : 1);
  }
  int status = -1;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
  return status == 0;
}

// True when the home's own server is there, or may be.
bool look_at_port(std::string const& home, Findings& findings) {
  std::string text = std::to_string(kRegistryPort);
  (void)find_regport(home, text);  // the run goes by the usual port, too
  auto const report = [&](std::string const& what) -> Finding& {
    findings.push_back({"port", "127.0.0.1:" + text, "", "", what});
    return findings.back();
  };
  uint16_t port = 0;
  if (!read_port(text, port)) {
    report("is no port, but that of the registry server in RegSvrCfg.ini");
    return false;
  }
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  Descriptor const probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  int const on = 1;
  setsockopt(probe.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(probe.get(), reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0)
    return false;
  int const error = errno;
  if (error == EADDRINUSE && is_server_of(home, text)) return true;
  std::string const cookie = home + "/config" + kCookieFile;
  if (error == EADDRINUSE && faccessat(AT_FDCWD, cookie.c_str(), R_OK, AT_EACCESS) != 0 &&
      errno == EACCES) {
    report(
        "is taken by a program that this user cannot ask whether it is the home's registry "
        "server, as the migration must: " +
        cookie + ": " + strerror(EACCES))
        .advice = "start the migration as the user of the registry server: root";
    return true;  // most likely
  }
  report(error == EADDRINUSE
             ? "is taken by a program that does not prove to be this home's registry server"
             : std::string("cannot be taken by the registry server: ") + strerror(error));
  return false;
}

// The run replaces what stands at its own names, where it can.
void look_at_tmp(Findings& findings) {
  for (char const* path : {kPackageCopy, kKeyFile, kUnpackFolder}) {
    struct stat found;
    if (lstat(path, &found) != 0) continue;
    bool const is_folder = S_ISDIR(found.st_mode);
    bool const fits = path == kUnpackFolder ? is_folder && is_ours(found)
                                            : !is_folder && (is_ours(found) || geteuid() == 0);
    if (fits && is_ours(found)) continue;
    findings.push_back({"in-the-way", path, "", "",
                        "is " + std::string(is_folder ? "a folder" : "a file") + " of " +
                            owner_of(found) +
                            (fits ? ", which the run removes" : ", where the run makes its own")});
    if (fits) findings.back().severity = Severity::kNote;
  }
}

void look_at_path(Findings& findings) {
  char const* const variable = getenv("PATH");
  std::string_view rest = variable != nullptr ? variable : "";
  while (!rest.empty()) {
    std::string_view const folder = rest.substr(0, rest.find(':'));
    rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
    fs::path const command = fs::path(folder.empty() ? "." : folder) / kDecipherCommand;
    std::error_code failure;
    if (fs::is_regular_file(command, failure) && access(command.c_str(), X_OK) == 0) return;
  }
  findings.push_back({"no-command", kDecipherCommand, "", "", "is in no folder of PATH"});
}

void look_at_other_run(std::string const& home, Findings& findings) {
  pid_t const holder = active_run(home.c_str());
  if (holder == 0) return;
  findings.push_back(
      {"active-run", home, "", "",
       holder == kUnknownRun
           ? "another user is migrating, or a run of his that was killed has left its lock"
           : "process " + std::to_string(holder) + " is migrating at this moment"});
}

// What the process list shows of a process: its arguments with blanks between them.
std::string line_of(std::string const& process) {
  std::string line;
  if (read_file(process + "/cmdline", line) != 0) return "";
  std::ranges::replace(line, '\0', ' ');
  while (line.ends_with(' ')) line.pop_back();
  return line;
}

// This process, and those above it that do nothing but run its command, as sudo: they end with it.
// What else is above it, such as a terminal multiplexer or a script, is there during the run.
std::set<std::string> own_processes() {
  std::set<std::string> own;
  std::string process = std::to_string(getpid());
  std::string const line = line_of("/proc/" + process);
  std::string status;
  while (line_of("/proc/" + process).ends_with(line) && own.insert(process).second &&
         read_file("/proc/" + process + "/status", status) == 0) {
    size_t const at = status.find("\nPPid:\t");
    if (at == status.npos) break;
    size_t const start = at + strlen("\nPPid:\t");
    process = status.substr(start, status.find('\n', start) - start);
    status.clear();
  }
  return own;
}

// The run looks for its server with ps and grep: any line with the server's name counts, but for
// those with grep's. Another home's server would be taken for it, too.
void look_at_processes(bool own_server_runs, Findings& findings) {
  std::set<std::string> const own = own_processes();
  std::error_code failure;
  for (auto entry = fs::directory_iterator("/proc", failure);
       !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    std::string const process = entry->path().filename();
    if (process.find_first_not_of("0123456789") != process.npos || own.contains(process)) continue;
    std::string const line = line_of(entry->path());
    bool const counts = line.find(kRegServerProcess) != line.npos && line.find("grep") == line.npos;
    std::string const program = line.substr(0, line.find(' '));
    bool const is_server = fs::path(program).filename() == kRegServerProcess;
    if (!counts || (is_server && own_server_runs)) continue;
    findings.push_back({"false-server", entry->path(), "", "",
                        "runs " + program + " with \"" + kRegServerProcess +
                            "\" in its arguments, and is taken for the registry server: that " +
                            "would not be started, and waited for at the end"});
  }
}

Disk disk_of(std::string const& folder) {
  Disk disk{folder};
  struct statvfs room;
  struct stat place;
  if (stat(folder.c_str(), &place) != 0 || statvfs(folder.c_str(), &room) != 0) return disk;
  disk.number = place.st_dev;
  // One that names no size of its own has no bound of its own. Some is kept for root.
  if (room.f_blocks == 0) return disk;
  disk.room = uint64_t{geteuid() == 0 ? room.f_bfree : room.f_bavail} * room.f_frsize;
  return disk;
}

uint64_t number_of(std::string const& text) {
  return strtoull(text.c_str(), nullptr, 10);
}

}  // namespace

Target look_at_target(std::string const& home) {
  Target target;
  look_at_folders(home, target.findings);
  bool const own_server_runs = look_at_port(home, target.findings);
  look_at_tmp(target.findings);
  look_at_path(target.findings);
  look_at_other_run(home, target.findings);
  look_at_processes(own_server_runs, target.findings);
  target.tmp = disk_of("/tmp");
  target.home = disk_of(home + "/config");
  return target;
}

void report_room(Target const& target, Burden const& burden, Findings& findings) {
  constexpr uint64_t kLogs = uint64_t{1} << 20;
  uint64_t const in_tmp = burden.package + std::max(burden.package, burden.unpacked);
  uint64_t const in_home = burden.store + burden.unpacked + kLogs;
  bool const is_one = target.tmp.number == target.home.number;
  auto const report = [&](Disk const& disk, uint64_t needed) {
    if (needed <= disk.room) return;
    findings.push_back({"no-room", disk.folder, "", "",
                        "has room for " + std::to_string(disk.room) + " bytes, but the run needs " +
                            std::to_string(needed)});
  };
  report(target.tmp, is_one ? in_tmp + in_home : in_tmp);
  if (!is_one) report(target.home, in_home);
}

std::vector<std::string> texts_of(Target const& target) {
  std::vector<std::string> texts;
  for (Disk const& disk : {target.tmp, target.home}) {
    for (uint64_t const number : {disk.number, disk.room}) texts.push_back(std::to_string(number));
    texts.push_back(disk.folder);
  }
  for (Finding const& finding : target.findings) {
    texts.push_back(std::to_string(static_cast<int>(finding.severity)));
    for (std::string const& text : {finding.kind, finding.file, finding.text, finding.advice})
      texts.push_back(text);
  }
  return texts;
}

Target target_of(std::span<std::string const> texts) {
  Target target;
  for (Disk* const disk : {&target.tmp, &target.home}) {
    if (texts.size() < 3) return target;
    *disk = {texts[2], number_of(texts[0]), number_of(texts[1])};
    texts = texts.subspan(3);
  }
  for (; texts.size() >= 5; texts = texts.subspan(5)) {
    FindingKind const* const kind = std::ranges::find(kFindingKinds, texts[1], &FindingKind::name);
    if (kind == std::end(kFindingKinds)) continue;
    target.findings.push_back({*kind, texts[2], "", "", texts[3]});
    target.findings.back().severity = static_cast<Severity>(number_of(texts[0]));
    target.findings.back().advice = texts[4];
  }
  return target;
}

}  // namespace zeva
