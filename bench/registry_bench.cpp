// The registry server and its client library beside a bare exchange of the same size: how many
// values a second are stored, read and enumerated, and how long a list of addresses takes.
//
// The peer is a blocking TCP exchange of 150 and 16 bytes whose server appends 170 bytes to a file:
// what a value costs where nothing is looked at and nothing understood. It appends in the rows of
// reading, too, where the server writes nothing. Both take turns; a figure is the median of five,
// but for a list's time, which is taken once. Pinned, client and server share one core, as on a
// busy gateway.
#include "figures.h"
#include "nvpol.h"
#include "nvreg.h"
#include "pingpong.h"
#include "scratch.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace zeva;
namespace fs = std::filesystem;

constexpr int kTurns = 5;
constexpr size_t kValueBytes = 100;

void check(int32_t status, char const* what) {
  if (status >= 0) return;
  fprintf(stderr, "%s: status 0x%08X\n", what, static_cast<unsigned>(status));
  exit(1);
}

// A home of its own with a server in it, and a client.
class Registry {
 public:
  Registry() : server_([this] { serve(); }) {
    setenv("ZEVA_HOME", (folder_ / "").c_str(), 1);
    std::string const address = "ZEVA:" + std::to_string(port_);
    int32_t status = NVREG_NO_SERVER;
    for (int i = 0; i < 500 && registry_ == nullptr; ++i) {
      usleep(10000);
      registry_ = nvreg_open(1, address.c_str(), &root_, &status);
    }
    check(status, "nvreg_open");
  }
  ~Registry() {
    int32_t status;
    nvreg_closeKey(root_, &status);
    nvreg_close(registry_, &status);
  }

  // So many values, in keys of so many, beside those of earlier turns.
  void store(int values, int per_key) {
    std::string const data(kValueBytes, 'x');
    std::string const turn = "turn" + std::to_string(++turns_);
    int32_t status;
    _NvPolComHandle* key = nullptr;
    for (int i = 0; i < values; ++i) {
      if (i % per_key == 0) {
        if (key != nullptr) nvreg_closeKey(key, &status);
        key = nvreg_createKey(root_, (turn + "\\" + std::to_string(i)).c_str(), &status);
        check(status, "nvreg_createKey");
      }
      nvreg_setValue(key, std::to_string(i).c_str(), NVREG_STRING,
                     reinterpret_cast<unsigned char const*>(data.data()), kValueBytes, &status);
      check(status, "nvreg_setValue");
    }
    nvreg_closeKey(key, &status);
  }

  void read(int values) {
    in_first_key(
        [&](_NvPolComHandle* key, int i) {
          unsigned char data[1024];
          uint32_t length = sizeof data;
          _NvRegDataType type;
          int32_t status;
          nvreg_queryValue(key, std::to_string(i).c_str(), &type, data, &length, &status);
          check(status, "nvreg_queryValue");
        },
        values);
  }

  void enumerate(int values) {
    in_first_key(
        [&](_NvPolComHandle* key, int i) {
          char name[1024];
          unsigned char data[1024];
          uint32_t name_length = sizeof name, length = sizeof data;
          _NvRegDataType type;
          int32_t status;
          nvreg_enumValue(key, static_cast<uint32_t>(i), name, &name_length, &type, data, &length,
                          &status);
          check(status, "nvreg_enumValue");
        },
        values);
  }

  void insert_addresses(int count) {
    int32_t status;
    _NvPolComHandle* hive = nvpol_openAddrListHive(root_, &status);
    check(status, "nvpol_openAddrListHive");
    _NvPolAddrListAttr const attributes = {};
    std::string const name = "List" + std::to_string(++turns_);
    _NvPolComHandle* list = nvpol_createAddrList(hive, name.c_str(), &attributes, &status);
    check(status, "nvpol_createAddrList");
    for (int i = 0; i < count; ++i) {
      nvpol_insertAddress(list, (std::to_string(i) + "@example.com").c_str(), &status);
      check(status, "nvpol_insertAddress");
    }
    nvpol_closeAddrList(list, &status);
    nvpol_closeAddrListHive(hive, &status);
  }

 private:
  void serve() {
    uint16_t port = port_;
    fs::create_directories(folder_ / "config");
    fs::create_directories(folder_ / "bin/migration");
    fs::copy(FACTORY_STORE, folder_ / "config/factory.xml");
    std::ofstream(folder_ / "bin/migration/RegSvrCfg.ini")
        << "[CFILTER_REGSERVER]\nCFILTER_REGSERVER_PORT=" << port << "\n";
    setenv("ZEVA_HOME", (folder_ / "").c_str(), 1);
    execl(REGSERVER, "regserver", nullptr);
    fail(REGSERVER);
  }

  static uint16_t free_port() {
    uint16_t port;
    close(listen_on_loopback(port));
    return port;
  }

  void in_first_key(std::function<void(_NvPolComHandle*, int)> const& work, int values) {
    int32_t status;
    _NvPolComHandle* key = nvreg_openKey(root_, "turn1\\0", &status);
    check(status, "nvreg_openKey");
    for (int i = 0; i < values; ++i) work(key, i);
    nvreg_closeKey(key, &status);
  }

  Folder folder_;
  uint16_t const port_ = free_port();
  Child server_;
  _NvPolComHandle* registry_ = nullptr;
  _NvPolComHandle* root_ = nullptr;
  int turns_ = 0;
};

struct Row {
  char const* what;
  std::function<void(Registry&)> work;
};

// Ours and the peer in turn; a row says how many a second each did, and their ratio.
void compare(Row const& row, int times) {
  Registry registry;
  PingPong peer;
  registry.store(times, times);  // what reading reads
  std::vector<double> ours, theirs;
  for (int i = 0; i < kTurns; ++i) {
    ours.push_back(seconds_of([&] { row.work(registry); }));
    theirs.push_back(seconds_of([&] { peer.exchange(times); }));
  }
  double const rate = times / median(ours);
  double const peer_rate = times / median(theirs);
  printf("  %-34s %7d %9.0f /s %9.0f /s %6.2f\n", row.what, times, rate, peer_rate,
         rate / peer_rate);
  fflush(stdout);
}

}  // namespace

int main() {
  for (bool const one_core : {true, false}) {
    use_cores(one_core);
    printf("%s\n  %-34s %7s %12s %12s %6s\n", one_core ? "On one core" : "On all cores", "",
           "values", "ours", "ping-pong", "ratio");
    for (int const times : {10000, 100000}) {
      Row const rows[] = {
          {"store, one key", [=](Registry& registry) { registry.store(times, times); }},
          {"store, keys of ten", [=](Registry& registry) { registry.store(times, 10); }},
          {"read", [=](Registry& registry) { registry.read(times); }},
          {"enumerate", [=](Registry& registry) { registry.enumerate(times); }},
      };
      for (Row const& row : rows) compare(row, times);
    }
  }
  printf("Addresses into one list\n");
  for (int const count : {1000, 20000}) {
    Registry registry;
    printf("  %7d %9.2f s\n", count, seconds_of([&] { registry.insert_addresses(count); }));
    fflush(stdout);
  }
}
