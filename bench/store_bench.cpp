// A large store: how long the server takes from its start to its first answer, and how much of the
// processor zeva-regdump needs to print all of it. Beside them, on the same files, who only looks
// whether the snapshot is XML, and who reads the printed JSON and prints it again.
//
// The store is as a server has left it that changed nothing: two snapshots and an empty log. Only
// for the start after a change there is one more value in the log; such a start writes the snapshot
// anew and waits for the disk. Each takes its turn five times.
#include "figures.h"
#include "nvreg.h"
#include "scratch.h"
#include "server_home.h"
#include "snapshot.h"
#include "tree.h"

#include <fcntl.h>
#include <sys/resource.h>

#include <fstream>
#include <iterator>

using namespace zeva;

namespace {

constexpr int kTurns = 5;
constexpr uint16_t kPort = 5071;
constexpr size_t kFew = 22000;
constexpr size_t kMany = 220000;
constexpr double kMostGrowth = 1.25;  // of what a value costs

struct Shape {
  char const* name;
  size_t values_per_key;
};

constexpr Shape kShapes[] = {{"one key", kMany}, {"keys of ten", 10}};

std::string make_snapshot(size_t values, Shape const& shape) {
  Key root;
  Key& top = root.subkeys.at("bench");
  for (size_t i = 0; i < values; ++i) {
    Key& key = top.subkeys.at("key" + std::to_string(i / shape.values_per_key));
    Value& value = key.values.at("setting" + std::to_string(i));
    value.type = NVREG_STRING;
    value.data = std::string(90, static_cast<char>('a' + i % 26)) + std::to_string(i) + '\0';
  }
  return write_snapshot(root, 1);
}

void write_output_to(std::string const& path) {
  int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || dup2(file, STDOUT_FILENO) < 0) fail(path.c_str());
}

struct Cost {
  double clock, processor;  // seconds
};

// A program's, from its start to its end.
Cost run(std::string const& output, std::vector<char const*> arguments) {
  arguments.push_back(nullptr);
  rusage used = {};
  int status = 0;
  double const clock = seconds_of([&] {
    pid_t const child = fork();
    if (child == 0) {
      write_output_to(output);
      execvp(arguments[0], const_cast<char* const*>(arguments.data()));
      fail(arguments[0]);
    }
    if (child < 0 || wait4(child, &status, 0, &used) != child) fail(arguments[0]);
  });
  if (status != 0) {
    fprintf(stderr, "%s has failed\n", arguments[0]);
    exit(1);
  }
  auto const seconds = [](timeval time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  return {clock, seconds(used.ru_utime) + seconds(used.ru_stime)};
}

// A home with a store of so many values.
class Home {
 public:
  Home(size_t values, Shape const& shape) {
    lay_out_home(folder_, kPort);
    std::ofstream(folder_ / "config/factory.xml") << make_snapshot(values, shape);
    (void)seconds_to_start();  // makes the three files
  }

  // Of a server that goes on to serve what it is asked to.
  [[nodiscard]] double seconds_to_start(bool change = false) const {
    auto const begin = std::chrono::steady_clock::now();
    Child const server(become_server);
    _NvPolComHandle* root = nullptr;
    int32_t status = NVREG_NO_SERVER;
    std::string const address = "ZEVA:" + std::to_string(kPort);
    _NvPolComHandle* registry = nullptr;
    while ((registry = nvreg_open(1, address.c_str(), &root, &status)) == nullptr) {
      std::chrono::duration<double> const waited = std::chrono::steady_clock::now() - begin;
      if (status != NVREG_NO_SERVER || waited.count() > 60) fail("no server answers");
      usleep(1000);
    }
    std::chrono::duration<double> const taken = std::chrono::steady_clock::now() - begin;
    if (change) nvreg_setValue(root, "changed", NVREG_BINARY, nullptr, 0, &status);
    if (status < 0) fail("nvreg_setValue");
    nvreg_closeKey(root, &status);
    nvreg_close(registry, &status);
    return taken.count();
  }

  [[nodiscard]] Cost parse() const {
    return run("/dev/null",
               {"xmllint", "--huge", "--noout", (path_ + "/config/cFlt_db.xml").c_str()});
  }
  [[nodiscard]] Cost dump() const {
    return run(dumped_, {REGDUMP, "--home", path_.c_str(), "--json"});
  }
  [[nodiscard]] Cost dump_again() const {
    return run("/dev/null", {"jq", "-c", ".", dumped_.c_str()});
  }

 private:
  Folder folder_;
  std::string const path_ = folder_ / "";
  std::string const dumped_ = folder_ / "dumped";
};

struct Figures {
  double start, start_anew, parse, dump, dump_again;  // seconds, medians
};

Figures measure(size_t values, Shape const& shape) {
  Home const home(values, shape);
  std::vector<double> starts, starts_anew, parses, dumps, again;
  for (int turn = 0; turn < kTurns; ++turn) {
    starts.push_back(home.seconds_to_start(true));
    starts_anew.push_back(home.seconds_to_start());
    (void)home.seconds_to_start();  // takes the change into the snapshot before
    parses.push_back(home.parse().clock);
    dumps.push_back(home.dump().processor);
    again.push_back(home.dump_again().processor);
  }
  return {median(starts), median(starts_anew), median(parses), median(dumps), median(again)};
}

void compare(Shape const& shape) {
  Figures const few = measure(kFew, shape);
  Figures const many = measure(kMany, shape);
  std::string const what = std::to_string(kMany) + " values, " + shape.name;
  std::string const growth = what + ", each";
  auto const microseconds = [](double seconds, size_t values) {
    return seconds / static_cast<double>(values) * 1e6;
  };
  auto const print = [&](char const* block, double Figures::*ours, char const* peer,
                         double Figures::*theirs, double limit) {
    print_row({block, what.c_str(), "s", many.*ours, peer, many.*theirs, Aim::kAtMost, 0});
    if (limit > 0)
      print_row({block, what.c_str(), "s", many.*ours, "limit", limit, Aim::kAtMost, 1});
    print_row({block, growth.c_str(), "µs", microseconds(many.*ours, kMany), "of 22000",
               microseconds(few.*ours, kFew), Aim::kAtMost, kMostGrowth});
  };
  print("server start", &Figures::start, "xmllint --noout", &Figures::parse, 0.5);
  print("server start after a change", &Figures::start_anew, "xmllint --noout", &Figures::parse, 0);
  print("zeva-regdump --json, processor", &Figures::dump, "jq -c .", &Figures::dump_again, 0.4);
}

}  // namespace

int main() {
  for (Shape const& shape : kShapes) compare(shape);
}
