// A rehearsal of the example with many more values, on the store of a factory: from the call to its
// end, with the run in it, but without the documented waits of that. The figure beside it is the
// limit that it is held to, as nothing else does the same.
//
// Times are medians of five, all processes on one core. Memory is taken in a rehearsal of its own:
// what all its processes hold at one time, pages that they share counted for each.
#include "figures.h"
#include "made_up_export.h"
#include "scratch.h"
#include "shell.h"

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

using namespace zeva;
namespace fs = std::filesystem;

constexpr int kTurns = 5;
constexpr double kMostSeconds = 2;
constexpr double kMostMiB = 256;

std::string rehearsal(std::string const& package) {
  return "LD_PRELOAD=" NO_WAIT " zeva-rehearse --from \"$ZEVA_HOME\" --json " + package;
}

int count_changes(std::string const& package) {
  FILE* const report =
      popen((rehearsal(package) + " | grep -o '\"before\":' | wc -l").c_str(), "r");
  int changes = 0;
  if (fscanf(report, "%d", &changes) != 1 || pclose(report) != 0) fail("zeva-rehearse");
  return changes;
}

struct Process {
  pid_t parent;
  double mebibytes;
};

std::map<pid_t, Process> all_processes() {
  std::map<pid_t, Process> processes;
  for (auto const& entry : fs::directory_iterator("/proc")) {
    pid_t const pid = atoi(entry.path().filename().c_str());
    if (pid <= 0) continue;
    std::ifstream status(entry.path() / "status");
    Process process = {};
    for (std::string name; status >> name;) {
      if (name == "PPid:") status >> process.parent;
      if (name == "VmRSS:" && status >> process.mebibytes) process.mebibytes /= 1024;
    }
    processes[pid] = process;
  }
  return processes;
}

bool is_below(pid_t pid, pid_t top, std::map<pid_t, Process> const& processes) {
  for (auto at = processes.find(pid); at != processes.end(); at = processes.find(at->second.parent))
    if (at->first == top) return true;
  return false;
}

// The most that the rehearsal's processes have held together, as seen by looking again and again.
double most_memory(std::string const& package) {
  pid_t const child = fork();
  if (child < 0) fail("fork");
  if (child == 0) {
    shell(rehearsal(package));
    _exit(0);
  }
  double most = 0;
  while (waitpid(child, nullptr, WNOHANG) == 0) {
    auto const processes = all_processes();
    double sum = 0;
    for (auto const& [pid, process] : processes)
      if (pid != child && is_below(pid, child, processes)) sum += process.mebibytes;
    most = std::max(most, sum);
    usleep(2000);
  }
  return most;
}

struct Measured {
  int changes;
  double seconds, mebibytes;
};

Measured measure(int values) {
  Folder const work;
  std::string const package = work / "package";
  MadeUpExport const made(work / "export", values);
  shell("zeva-pack " + work / "export" + ' ' + package);
  Measured measured{.changes = count_changes(package), .seconds = 0, .mebibytes = 0};
  std::vector<double> seconds;
  for (int turn = 0; turn < kTurns; ++turn)
    seconds.push_back(seconds_of([&] { shell(rehearsal(package)); }));
  measured.seconds = median(seconds);
  use_cores(false);  // who looks needs one, too
  measured.mebibytes = most_memory(package);
  use_cores(true);
  return measured;
}

}  // namespace

int main() {
  use_cores(true);
  Measured const small = measure(1000), large = measure(10000), huge = measure(100000);
  std::string const what = std::to_string(large.changes) + " changes";
  print_row({"rehearsal, waits apart", what.c_str(), "s", large.seconds, "limit", kMostSeconds,
             Aim::kAtMost, 1});
  print_row({"memory of a rehearsal", what.c_str(), "MiB", large.mebibytes, "limit", kMostMiB,
             Aim::kAtMost, 1});
  auto const compare = [](Measured const& more, Measured const& less) {
    auto const cost = [](Measured const& one) { return one.seconds / one.changes * 1e6; };
    print_row({"rehearsal, growth", (std::to_string(more.changes) + " changes").c_str(),
               "µs/change", cost(more), (std::to_string(less.changes) + " changes").c_str(),
               cost(less), Aim::kAtMost, 1.2});
  };
  compare(large, small);
  compare(huge, large);
}
