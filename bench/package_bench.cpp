// Decrypting, unpacking and checking a package: as the migration does it and as zeva-unpack does,
// beside the same commands in one shell, and beside openssl in the place of rc4. Each but openssl,
// which reads the package and writes to tar, copies it first, as it is left as it was.
//
// A package holds 50 files of texts like an export's. The ways take turns, on one core; a figure is
// the median of five. It belongs in a sandbox with a /tmp and a home of its own: bench/run.
#include "figures.h"
#include "opened_package.h"
#include "runlog.h"
#include "scratch.h"
#include "shell.h"

#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace zeva;
namespace fs = std::filesystem;

constexpr int kTurns = 5;
constexpr int kFiles = 50;

void write_export(std::string const& folder, size_t size) {
  std::mt19937 random(1);
  fs::create_directory(folder);
  for (int i = 0; i < kFiles; ++i) {
    // The first has a name that an export must have one of.
    std::ofstream file(folder + (i == 0 ? "/misc.txt" : "/file" + std::to_string(i) + ".txt"));
    file << "[common]\n";
    for (size_t key = 0; static_cast<size_t>(file.tellp()) < size / kFiles; ++key)
      file << "Setting" << key << "=2:user" << random() % 1000000 << "@host" << random() % 1000
           << ".example.com\n";
  }
}

struct Way {
  char const* name;
  std::function<void()> open;
  std::function<void()> clear;  // away with what it has made, untimed
};

std::string hex_key() {
  std::string digits;
  for (unsigned const byte : kPackageKey) {
    char two[3];
    snprintf(two, sizeof two, "%02x", byte);
    digits += two;
  }
  return digits;
}

void compare(char const* what, size_t size) {
  Folder const work;
  std::string const package = work / "package", key = work / "key", folder = work / "shell";
  write_export(work / "export", size);
  write_key(key);
  shell("zeva-pack " + work / "export" + ' ' + package);

  std::string const openssl = "openssl enc -d -rc4 -provider legacy -provider default -K " +
                              hex_key() + " -in " + package + " | tar zx && md5sum -c md5.sum";
  auto const make_folder = [&] {
    fs::remove_all(folder);
    fs::create_directory(folder);
  };
  Way const ways[] = {
      {"migration", [&] { apart([&] { return open_package(package.c_str()) == 0; }); },
       [] { shell("rm -rf /tmp/migrate /tmp/migrate_pkg"); }},
      {"zeva-unpack", [&] { shell("zeva-unpack " + package + ' ' + work / "unpacked"); },
       [&] { fs::remove_all(work / "unpacked"); }},
      {"shell", [&] { shell(opening(package, key, folder)); }, make_folder},
      {"openssl", [&] { shell("cd " + folder + " && " + openssl); }, make_folder},
  };
  make_folder();
  std::vector<double> seconds[std::size(ways)];
  for (int turn = 0; turn < kTurns; ++turn) {
    for (size_t i = 0; i < std::size(ways); ++i) {
      seconds[i].push_back(seconds_of(ways[i].open));
      ways[i].clear();
    }
  }
  for (size_t ours : {0u, 1u}) {
    for (size_t peer : {2u, 3u}) {
      std::string const row = std::string(what) + ", " + ways[ours].name;
      print_row({"opening a package", row.c_str(), "ms", median(seconds[ours]) * 1e3,
                 ways[peer].name, median(seconds[peer]) * 1e3, Aim::kAtMost, peer == 2 ? 1.25 : 0});
    }
  }
}

}  // namespace

int main() {
  SetDebugLogFileName("/tmp/log");
  use_cores(true);
  compare("1 MB in 50 files", size_t{1} << 20);
  compare("64 MB in 50 files", size_t{64} << 20);
}
