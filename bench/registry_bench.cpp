// The registry server and its client library beside two peers: how many values a second are stored,
// read and enumerated, how that changes with their number, and how long a list of addresses takes.
//
// The first peer is a bare exchange: blocking TCP of 150 and 16 bytes whose server appends 170
// bytes to a file: what a value costs where nothing is looked at and nothing understood. It appends
// in the rows of reading, too, where our server writes nothing. The second is Redis, whose hashes
// stand for keys: one HSET a value, into its append-only file, which it does not sync either. Ours
// goes over a Unix socket; on one core, where the transport counts most, both peers do so, too, in
// rows of their own. All take turns; a figure is the median of five. On one core client and server
// share it, as on a busy gateway.
#include "figures.h"
#include "nvpol.h"
#include "nvreg.h"
#include "pingpong.h"
#include "scratch.h"
#include "server_home.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
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

uint16_t free_port() {
  uint16_t port;
  close(listen_on_loopback(port));
  return port;
}

class Redis {
 public:
  explicit Redis(Transport transport) : server_([this] { serve(); }) {
    for (int i = 0; i < 500 && socket_ < 0; ++i) {
      usleep(10000);
      socket_ = transport == Transport::kTcp ? connect_to(port_) : connect_to(folder_ / "socket");
    }
    if (socket_ < 0) fail("redis-server");
  }
  ~Redis() { close(socket_); }
  Redis(Redis const&) = delete;
  Redis& operator=(Redis const&) = delete;

  // So many values, in hashes of so many, beside those of earlier turns.
  void store(int values, int per_hash) {
    std::string const data(kValueBytes, 'x');
    std::string const turn = "turn" + std::to_string(++turns_) + ":";
    for (int i = 0; i < values; ++i)
      call({"HSET", turn + std::to_string(i - i % per_hash), std::to_string(i), data});
  }

 private:
  void call(std::initializer_list<std::string> words) {
    std::string request = "*" + std::to_string(words.size()) + "\r\n";
    for (std::string const& word : words)
      request += "$" + std::to_string(word.size()) + "\r\n" + word + "\r\n";
    auto const length = static_cast<ssize_t>(request.size());
    if (send(socket_, request.data(), request.size(), 0) != length) fail("send");
    char reply[16];
    if (recv(socket_, reply, sizeof reply, 0) != 4 || memcmp(reply, ":1\r\n", 4) != 0)
      fail("redis-server");
  }

  void serve() {
    execlp("redis-server", "redis-server", "--port", std::to_string(port_).c_str(), "--bind",
           "127.0.0.1", "--unixsocket", (folder_ / "socket").c_str(), "--dir",
           (folder_ / "").c_str(), "--logfile", "/dev/null", "--save", "", "--appendonly", "yes",
           "--appendfsync", "no", "--auto-aof-rewrite-percentage", "0", nullptr);
    fail("redis-server");
  }

  Folder folder_;
  uint16_t const port_ = free_port();
  Child server_;
  int socket_ = -1;
  int turns_ = 0;
};

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
    lay_out_home(folder_, port_);
    fs::copy(FACTORY_STORE, folder_ / "config/factory.xml");
    become_server();
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

// What is aimed at: of the bare exchange's rate, and of Redis's; 0 for nothing.
struct Cores {
  bool one;
  char const* block;
  double store, store_of_redis, read;
};
constexpr Cores kCores[] = {{true, "registry, one core", 0.8, 1.1, 1},
                            {false, "registry, all cores", 3, 0, 0}};

struct Row {
  std::string what;
  double aim, aim_of_redis;
  std::function<void(Registry&)> work;
  std::function<void(Redis&)> of_redis;  // none where it takes no part
};

struct Peer {
  char const* name;
  double aim;
  std::function<void()> work;
  std::vector<double> seconds = {};
};

// Ours and the peers in turn, so many calls each; the rate of ours.
double compare(Cores const& cores, Row const& row, int times) {
  Registry registry;
  PingPong bare(Transport::kTcp), bare_unix(Transport::kUnix);
  Redis redis(Transport::kTcp), redis_unix(Transport::kUnix);
  std::vector<Peer> peers{{"bare exchange", row.aim, [&] { bare.exchange(times); }}};
  if (row.of_redis) peers.push_back({"Redis HSET", row.aim_of_redis, [&] { row.of_redis(redis); }});
  if (cores.one) {
    peers.push_back({"bare exchange, Unix socket", 0, [&] { bare_unix.exchange(times); }});
    if (row.of_redis)
      peers.push_back({"Redis HSET, Unix socket", 0, [&] { row.of_redis(redis_unix); }});
  }
  registry.store(times, times);  // what reading reads
  std::vector<double> ours;
  for (int i = 0; i < kTurns; ++i) {
    ours.push_back(seconds_of([&] { row.work(registry); }));
    for (Peer& peer : peers) peer.seconds.push_back(seconds_of(peer.work));
  }
  double const rate = times / median(ours);
  for (Peer const& peer : peers)
    print_row({cores.block, row.what.c_str(), "/s", rate, peer.name, times / median(peer.seconds),
               Aim::kAtLeast, peer.aim});
  return rate;
}

void compare_values(Cores const& cores) {
  constexpr int kCounts[] = {10000, 100000};
  for (int const per_key : {0, 10}) {  // 0: all
    double rates[2];
    std::string const shape = per_key == 0 ? ", one key" : ", keys of ten";
    for (int i = 0; i < 2; ++i) {
      int const times = kCounts[i];
      int const in_key = per_key == 0 ? times : per_key;
      Row const row{"store " + std::to_string(times) + " values" + shape, cores.store,
                    cores.store_of_redis,
                    [=](Registry& registry) { registry.store(times, in_key); },
                    [=](Redis& redis) { redis.store(times, in_key); }};
      rates[i] = compare(cores, row, times);
    }
    print_row({cores.block, ("a value of 100000" + shape).c_str(), "ns", 1e9 / rates[1], "of 10000",
               1e9 / rates[0], Aim::kAtMost, 1.1});
  }
  constexpr int kTimes = 100000;
  compare(cores, {"read a value", cores.read, 0, [](Registry& r) { r.read(kTimes); }, {}}, kTimes);
  compare(cores, {"enumerate values", cores.read, 0, [](Registry& r) { r.enumerate(kTimes); }, {}},
          kTimes);
}

// As many addresses into one list and into twenty, in turn.
void compare_lists(Cores const& cores) {
  constexpr int kMany = 20000, kFew = 1000;
  Registry registry;
  std::vector<double> one, twenty;
  for (int turn = 0; turn < kTurns; ++turn) {
    one.push_back(seconds_of([&] { registry.insert_addresses(kMany); }));
    twenty.push_back(seconds_of([&] {
      for (int i = 0; i < kMany / kFew; ++i) registry.insert_addresses(kFew);
    }));
  }
  print_row(
      {cores.block, "20000 addresses into a list", "s", median(one), "bound", 1, Aim::kAtMost, 1});
  print_row({cores.block, "an address of 20000", "us", 1e6 * median(one) / kMany, "of 1000",
             1e6 * median(twenty) / kMany, Aim::kAtMost, 1.1});
}

}  // namespace

int main() {
  for (Cores const& cores : kCores) {
    use_cores(cores.one);
    compare_values(cores);
    compare_lists(cores);
  }
}
