// A whole migration beside the least that it could cost: the same commands in one shell, its files
// parsed by GLib's GKeyFile, and one blocking exchange for each value stored.
//
// The documented waits (10 s for the server to start, 2 s for it to stop, 1 s for each address
// group) are left out: sleep() returns at once in the run. All else counts, the server's start and
// stop, too. Runs and floors take turns on one core; a figure is the median of five. It belongs in
// a sandbox with a /tmp, a home and a process list of its own: bench/run.
#include "figures.h"
#include "made_up_export.h"
#include "pingpong.h"
#include "scratch.h"
#include "shell.h"

#include <glib.h>

#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace zeva;
namespace fs = std::filesystem;

constexpr int kTurns = 5;
constexpr char kPeak[] = "/tmp/peak";

std::string home(std::string const& below) {
  return getenv("ZEVA_HOME") + ("/" + below);
}

// As the factory has left it: the server makes its first store when it is started.
void forget_store() {
  for (char const* name : {"cFlt_db.xml", "cFlt_db.xml.redo", "cFlt_db.xml.bak"})
    fs::remove(home("config/") + name);
  fs::remove_all(home("config/backup"));
}

int count_values() {
  FILE* const dump = popen("zeva-regdump --json | grep -o '{\"name\":' | wc -l", "r");
  int values = 0;
  if (fscanf(dump, "%d", &values) != 1 || pclose(dump) != 0) fail("zeva-regdump");
  return values;
}

void migrate(std::string const& package) {
  shell("LD_PRELOAD=" NO_WAIT " BENCH_PEAK=" + std::string(kPeak) + ' ' +
        home("bin/migration/zeva-migrate") + ' ' + package + " /tmp/log");
}

void parse_with_glib(std::string const& folder) {
  for (auto const& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file() || entry.path().extension() != ".txt") continue;
    GKeyFile* const file = g_key_file_new();
    GError* error = nullptr;
    if (!g_key_file_load_from_file(file, entry.path().c_str(), G_KEY_FILE_KEEP_COMMENTS, &error)) {
      fprintf(stderr, "%s: %s\n", entry.path().c_str(), error->message);
      exit(1);
    }
    g_key_file_free(file);
  }
}

double peak_mebibytes() {
  double kilobytes = 0;
  std::ifstream(kPeak) >> kilobytes;
  return kilobytes / 1024;
}

double largest_mebibytes(MadeUpExport const& made) {
  return static_cast<double>(made.largest()) / (1 << 20);
}

void print_memory(std::string const& what, double peak, double file) {
  print_row(
      {"memory of the tool", what.c_str(), "MiB", peak, "largest file", file, Aim::kAtMost, 3});
}

// Where a file is large enough for the tool's own pages to count little.
void measure_large_file() {
  Folder const work;
  MadeUpExport made(work / "export", 1000);
  made.put_long_texts(32000);
  shell("zeva-pack " + work / "export" + ' ' + work / "package");
  forget_store();
  migrate(work / "package");
  print_memory("32000 texts of 2000 bytes", peak_mebibytes(), largest_mebibytes(made));
}

struct Measured {
  int values;
  double run, floor;  // seconds
  double peak, file;  // MiB: of the tool's memory, and the largest file's size
};

Measured measure(int size) {
  Folder const work;
  std::string const folder = work / "export", package = work / "package", key = work / "key";
  MadeUpExport const made(folder, size);
  write_key(key);
  shell("zeva-pack " + folder + ' ' + package);
  forget_store();
  std::string const service = home("bin/migration/S99Reg");
  shell(service + " start && " + service + " stop");
  int const before = count_values();
  int values = 0;
  std::vector<double> runs, floors, peaks;
  PingPong peer(Transport::kTcp, home(""));
  for (int turn = 0; turn < kTurns; ++turn) {
    forget_store();
    runs.push_back(seconds_of([&] { migrate(package); }));
    values = count_values() - before;
    peaks.push_back(peak_mebibytes());

    fs::create_directory(work / "shell");
    floors.push_back(seconds_of([&] {
      shell(opening(package, key, work / "shell") + " && { " +
            rest_of_run(home("config"), work / "shell") + "; }");
      parse_with_glib(folder);
      peer.exchange(values);
    }));
    fs::remove_all(work / "shell");
  }
  return {values, median(runs), median(floors), median(peaks), largest_mebibytes(made)};
}

}  // namespace

int main() {
  use_cores(true);
  std::vector<Measured> all;
  for (int const size : {1000, 10000, 100000}) {
    Measured const& one = all.emplace_back(measure(size));
    std::string const what = std::to_string(one.values) + " values";
    print_row({"whole run, waits apart", what.c_str(), "ms", one.run * 1e3, "floors",
               one.floor * 1e3, Aim::kAtMost, 1.5});
    print_memory(what, one.peak, one.file);
  }
  auto const cost = [](Measured const& one) { return one.run / one.values * 1e6; };
  print_row({"whole run, growth", "100000 values", "µs/value", cost(all[2]), "10000 values",
             cost(all[1]), Aim::kAtMost, 1.2});
  measure_large_file();
  forget_store();
}
