// The INI reader beside three others, on the same files: how long each takes to load a file, how
// much memory at most, and how long to find each of its keys once, in random order, and copy the
// value. Every reader keeps every key, and must find every value; all but inih keep the comment
// lines, which inih cannot.
//
// Files are made from a fixed seed. Each figure is a median of medians: the readers take turns,
// each turn in a process of its own, so that none inherits another's heap, and repeated there on
// small files. What counts is processor time, for other work on the machine weighs less on it.
// Freeing what was loaded is not timed. Memory is what the process grows by.
#include "figures.h"
#include "nvconfigfile.h"

#include <glib.h>
#include <INIReader.h>
#define SI_NO_CONVERSION  // of characters: names and values are bytes, as in the others
#include <SimpleIni.h>

#include <malloc.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

class Reader {
 public:
  virtual ~Reader() = default;
  virtual bool load(std::string const& path) = 0;
  virtual bool find(std::string const& section, std::string const& key, std::string& value) = 0;
};

class Ours : public Reader {
 public:
  bool load(std::string const& path) override {
    file_.setname(path);
    return file_.readfile() == 0;
  }
  bool find(std::string const& section, std::string const& key, std::string& value) override {
    return file_.getattribute(section, key, value) == 0;
  }

 private:
  NvConfigFile file_;
};

class GLib : public Reader {
 public:
  ~GLib() override { g_key_file_free(file_); }
  bool load(std::string const& path) override {
    return g_key_file_load_from_file(file_, path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
  }
  bool find(std::string const& section, std::string const& key, std::string& value) override {
    gchar* found = g_key_file_get_value(file_, section.c_str(), key.c_str(), nullptr);
    if (found == nullptr) return false;
    value = found;
    g_free(found);
    return true;
  }

 private:
  GKeyFile* file_ = g_key_file_new();
};

class SimpleIni : public Reader {
 public:
  bool load(std::string const& path) override { return file_.LoadFile(path.c_str()) == SI_OK; }
  bool find(std::string const& section, std::string const& key, std::string& value) override {
    char const* found = file_.GetValue(section.c_str(), key.c_str());
    if (found == nullptr) return false;
    value = found;
    return true;
  }

 private:
  CSimpleIniCaseA file_{true};
};

class Inih : public Reader {
 public:
  bool load(std::string const& path) override {
    file_ = std::make_unique<INIReader>(path);
    return file_->ParseError() == 0;
  }
  bool find(std::string const& section, std::string const& key, std::string& value) override {
    value = file_->Get(section, key, "");
    return !value.empty();
  }

 private:
  std::unique_ptr<INIReader> file_;
};

template <class T>
std::unique_ptr<Reader> make() {
  return std::make_unique<T>();
}

struct Competitor {
  char const* name;
  std::unique_ptr<Reader> (*make)();
};

constexpr Competitor kCompetitors[] = {{"zeva-migrate", make<Ours>},
                                       {"GKeyFile", make<GLib>},
                                       {"SimpleIni", make<SimpleIni>},
                                       {"inih", make<Inih>}};

struct Entry {
  std::string section, key, value;
};

// Names as long as those of an export, values of 4 to 63 bytes, a comment line above every tenth
// key.
std::vector<Entry> write_file(std::string const& path, size_t keys, size_t keys_per_section) {
  std::mt19937 random(1);
  std::vector<size_t> numbers(keys);
  for (size_t i = 0; i < keys; ++i) numbers[i] = i;
  std::shuffle(numbers.begin(), numbers.end(), random);

  std::vector<Entry> entries;
  std::ofstream file(path);
  for (size_t i = 0; i < keys; ++i) {
    std::string const section = "section" + std::to_string(i / keys_per_section);
    if (i % keys_per_section == 0) file << '[' << section << "]\n";
    if (i % 10 == 0) file << "# what follows is explained here\n";
    entries.push_back({section, "Setting" + std::to_string(numbers[i]),
                       "2:" + std::string(2 + random() % 60, static_cast<char>('a' + i % 26))});
    file << entries.back().key << '=' << entries.back().value << '\n';
  }
  std::shuffle(entries.begin(), entries.end(), random);
  return entries;
}

struct Costs {
  double parse, find;  // seconds
  double peak;         // bytes
};

double processor_seconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The most memory that this process has held since forget_peak().
double peak() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    double kilobytes;
    if (word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
  }
  exit(1);
}

void forget_peak() {
  malloc_trim(0);  // what the parent has freed would cost nothing
  std::ofstream("/proc/self/clear_refs") << "5";
}

Costs run(Competitor const& competitor, std::string const& path,
          std::vector<Entry> const& entries) {
  std::unique_ptr<Reader> const reader = competitor.make();
  forget_peak();
  double const held = peak();
  double const start = processor_seconds();
  bool right = reader->load(path);
  double const loaded = processor_seconds();
  double const most_held = peak();
  double const ready = processor_seconds();
  std::string value;
  for (Entry const& entry : entries) right = reader->find(entry.section, entry.key, value) && right;
  double const found = processor_seconds();

  for (Entry const& entry : entries)
    right = right && reader->find(entry.section, entry.key, value) && value == entry.value;
  if (!right) {
    fprintf(stderr, "%s does not hold every key with its value\n", competitor.name);
    _exit(1);
  }
  return {loaded - start, found - ready, most_held - held};
}

Costs median(std::vector<Costs> const& costs) {
  auto middle = [&](double Costs::*one) {
    std::vector<double> values;
    std::ranges::transform(costs, std::back_inserter(values), one);
    return zeva::median(values);
  };
  return {middle(&Costs::parse), middle(&Costs::find), middle(&Costs::peak)};
}

// Several runs in a process of their own.
Costs take_turn(Competitor const& competitor, std::string const& path,
                std::vector<Entry> const& entries) {
  int ends[2];
  if (pipe(ends) != 0) exit(1);
  pid_t const child = fork();
  if (child == 0) {
    std::vector<Costs> costs(std::clamp<size_t>(40000 / entries.size(), 1, 40));
    for (Costs& one : costs) one = run(competitor, path, entries);
    Costs const result = median(costs);
    _exit(write(ends[1], &result, sizeof result) == sizeof result ? 0 : 1);
  }
  close(ends[1]);
  Costs result;
  if (child < 0 || read(ends[0], &result, sizeof result) != sizeof result) exit(1);
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return result;
}

struct Row {
  char const* block;
  char const* unit;
  double Costs::*cost;
  double units;   // in one second or byte
  double ratio;   // aimed at, of GKeyFile's
  size_t fewest;  // keys that it is measured at
};

constexpr Row kRows[] = {{"INI parsing", "ns/key", &Costs::parse, 1e9, 0.6, 1},
                         {"INI lookups", "ns/key", &Costs::find, 1e9, 0.8, 1},
                         {"INI peak memory", "bytes/key", &Costs::peak, 1, 0.9, 100000}};

void compare(std::string const& path, char const* shape, size_t keys, size_t keys_per_section) {
  std::vector<Entry> const entries = write_file(path, keys, keys_per_section);
  std::vector<Costs> costs[std::size(kCompetitors)];
  for (int turn = 0; turn < 5; ++turn)
    for (size_t i = 0; i < std::size(kCompetitors); ++i)
      costs[i].push_back(take_turn(kCompetitors[i], path, entries));

  std::string const what = std::to_string(keys) + " keys, " + shape;
  for (Row const& row : kRows) {
    if (keys < row.fewest) continue;
    double const units = row.units / static_cast<double>(keys);
    double const ours = median(costs[0]).*row.cost * units;
    for (size_t i = 1; i < std::size(kCompetitors); ++i)
      zeva::print_row({row.block, what.c_str(), row.unit, ours, kCompetitors[i].name,
                       median(costs[i]).*row.cost * units, zeva::Aim::kAtMost,
                       i == 1 ? row.ratio : 0});
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<size_t> sizes;
  for (int i = 1; i < argc; ++i) sizes.push_back(strtoul(argv[i], nullptr, 10));
  if (sizes.empty()) sizes = {10000, 100000, 1000000};
  if (std::find(sizes.begin(), sizes.end(), 0u) != sizes.end()) {
    fprintf(stderr, "usage: bench/run [KEYS]...\n");
    return 2;
  }

  std::string path = "/tmp/inifile_bench.XXXXXX";
  int const fd = mkstemp(path.data());
  if (fd < 0) {
    perror(path.c_str());
    return 1;
  }
  close(fd);
  for (size_t keys : sizes) {
    compare(path, "one section", keys, keys);
    compare(path, "10 a section", keys, 10);
  }
  unlink(path.c_str());
  return 0;
}
