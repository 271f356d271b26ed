// What a caller of the C interface relies on, against the real server.
#include "nvreg.h"
#include "registry_client.h"
#include "scratch_home.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <sstream>
#include <thread>

namespace {

class Client : public testing::Test {
 protected:
  Client() { home_.start(); }
  ScratchHome home_;
};

TEST_F(Client, CeilingsHoldAtTheByte) {
  RegistryClient client(home_.address());
  std::string const name(NVREG_MAX_NAME, 'n');
  std::string const value(NVREG_MAX_VALUE, 'v');
  std::string path(NVREG_MAX_PATH, 'x');
  for (size_t i = 1; i + 1 < path.size(); i += 2) path[i] = '\\';

  EXPECT_EQ(client.create(name), NVREG_OK);
  EXPECT_EQ(client.create(name + "n"), NVREG_NAME_TOO_LONG);
  EXPECT_EQ(client.set(name, name, NVREG_BINARY, value), NVREG_OK);
  EXPECT_EQ(client.set(name, name + "n", NVREG_BINARY, ""), NVREG_NAME_TOO_LONG);
  EXPECT_EQ(client.set(name, "", NVREG_BINARY, value + "v"), NVREG_VALUE_TOO_LONG);
  EXPECT_EQ(client.create(path), NVREG_OK);
  EXPECT_EQ(client.create(path + "x"), NVREG_PATH_TOO_LONG);
  EXPECT_EQ(client.set(path, name, NVREG_BINARY, value), NVREG_OK) << "all at once";
  EXPECT_EQ(client.create(std::string(5 << 20, '\\') + "slack"), NVREG_OK);

  // Half a million keys one below the other, read back from the log, then from the snapshot.
  for (int start = 0; start < 2; ++start) {
    home_.kill();
    home_.start();
    RegistryClient again(home_.address());
    EXPECT_TRUE(again.query(path, name) == value);
    EXPECT_TRUE(again.query(name, name) == value);
    EXPECT_EQ(again.create("x\\here"), NVREG_OK);
    EXPECT_EQ(again.erase(start == 0 ? "x\\here" : "x"), NVREG_OK);
  }
}

TEST_F(Client, TellsLengthsAndWritesOnlyWhatFits) {
  RegistryClient client(home_.address());
  ASSERT_EQ(client.create("k\\name"), NVREG_OK);
  ASSERT_EQ(client.set("k", "value", NVREG_BINARY, "12345678"), NVREG_OK);
  struct {
    uint32_t name, data;
    bool fits;
  } const cases[] = {{6, 8, true}, {5, 8, false}, {6, 7, false}, {0, 0, false}};
  for (auto& room : cases)
    client.on_key("k", [&](_NvPolComHandle* key, int32_t* status) {
      char name[] = "........";
      unsigned char data[] = "........";
      uint32_t name_length = room.name;
      uint32_t length = room.data;
      _NvRegDataType type = NVREG_DWORD;
      nvreg_enumValue(key, 0, name, &name_length, &type, data, &length, status);
      EXPECT_EQ(*status, room.fits ? NVREG_OK : NVREG_BUFFER_TOO_SMALL);
      EXPECT_EQ(name_length, 5u);
      EXPECT_EQ(length, 8u);
      EXPECT_EQ(type, NVREG_BINARY);
      EXPECT_STREQ(name, room.fits ? "value" : "........");
      EXPECT_STREQ(reinterpret_cast<char*>(data), room.fits ? "12345678" : "........");

      name_length = room.name - (room.name > 0);
      nvreg_enumSubkey(key, 0, name, &name_length, status);
      EXPECT_EQ(*status, room.name > 5 ? NVREG_OK : NVREG_BUFFER_TOO_SMALL);
      EXPECT_EQ(name_length, 4u);
    });
}

TEST_F(Client, HandlesKnowTheirKindAndOutliveTheirRegistry) {
  int32_t status;
  _NvPolComHandle* root;
  _NvPolComHandle* registry = nvreg_open(1, home_.address().c_str(), &root, &status);
  _NvPolComHandle* key = nvreg_createKey(root, "a\\b", &status);
  for (_NvPolComHandle* not_a_key : {registry, static_cast<_NvPolComHandle*>(nullptr)})
    EXPECT_EQ(nvreg_openKey(not_a_key, "registry", &status), nullptr);
  nvreg_refresh(root, &status);
  EXPECT_EQ(status, NVREG_BAD_ARGUMENT) << "a key is no registry";
  nvreg_closeKey(root, &status);
  nvreg_close(registry, &status);
  EXPECT_EQ(status, NVREG_OK);
  nvreg_setValue(key, "v", NVREG_STRING, nullptr, 0, &status);
  EXPECT_EQ(status, NVREG_OK);

  RegistryClient other(home_.address());
  ASSERT_EQ(other.erase("a"), NVREG_OK);
  nvreg_setValue(key, "v", NVREG_STRING, nullptr, 0, &status);
  EXPECT_EQ(status, NVREG_NOT_FOUND);
  EXPECT_EQ(nvreg_createKey(key, "c", &status), nullptr);
  EXPECT_EQ(status, NVREG_NOT_FOUND) << "a deleted key does not come back by accident";
  ASSERT_EQ(other.create("a\\b"), NVREG_OK);
  nvreg_setValue(key, "v", NVREG_STRING, nullptr, 0, &status);
  EXPECT_EQ(status, NVREG_OK);
  nvreg_closeKey(key, &status);
}

// By the socket in the home where it is the server's, and by the port whatever else stands there.
TEST_F(Client, ComesByTheSocketOrByThePort) {
  std::string const path = home_.config("regserver.socket");
  auto const clients_at_socket = [&] {
    std::istringstream lines(read_text("/proc/net/unix"));
    int connected = 0;
    for (std::string line; std::getline(lines, line);)
      connected += line.ends_with(path) && line.find(" 03 ") != std::string::npos ? 1 : 0;
    return connected;
  };
  struct {
    char const* commands;  // on the socket $s
    int at_socket;
  } const cases[] = {{"test $(stat -c %a $s) = 600", 1},
                     {"mv $s $s.old; echo >$s", 0},
                     {"rm $s; ln -s $s.old $s", 1},
                     {"rm $s", 0},
                     {"mkdir $s; touch $s/file", 0}};
  for (auto& [commands, at_socket] : cases) {
    ASSERT_EQ(system(("s=" + path + "; " + commands).c_str()), 0);
    RegistryClient const client(home_.address());
    EXPECT_EQ(clients_at_socket(), at_socket) << commands;
  }
  home_.kill();
  home_.start();
  EXPECT_NE(home_.reports().find(path + ": Address already in use; clients come by the port"),
            std::string::npos);
  EXPECT_EQ(opening(home_.address()), NVREG_OK);
  ASSERT_EQ(system(("rm -r " + path).c_str()), 0);
  for (int start = 0; start < 2; ++start) {  // the second one in place of what the first has left
    home_.kill();
    home_.start();
    RegistryClient const client(home_.address());
    EXPECT_EQ(clients_at_socket(), 1);
  }
  home_.stop();
  EXPECT_EQ(access(path.c_str(), F_OK), -1);
  home_.start();
  ASSERT_EQ(system(("rm " + path + "; echo >" + path).c_str()), 0);
  home_.stop();
  EXPECT_EQ(access(path.c_str(), F_OK), 0) << "somebody else's";
}

// A server that has proved itself may take any time over a call.
TEST_F(Client, WaitsForAnAnswerWithoutEnd) {
  int const before = sockets_waiting(0);
  RegistryClient client(home_.address());
  EXPECT_EQ(sockets_waiting(0), before + 1);
}

TEST_F(Client, OpenSaysWhyNot) {
  EXPECT_EQ(opening(home_.address(), 0), NVREG_BAD_ARGUMENT);
  for (char const* address : {"", "5069", "ZEVA:", "ZEVA:0", "ZEVA:-1", "ZEVA:65536", "ZEVA:5069 "})
    EXPECT_EQ(opening(address), NVREG_BAD_ARGUMENT) << address;

  RegistryClient client(home_.address());
  EXPECT_EQ(opening("ZEVA:1"), NVREG_NO_SERVER) << "that of the home serves another port";
  home_.kill();
  EXPECT_EQ(opening(home_.address()), NVREG_NO_SERVER);
  EXPECT_EQ(client.create("a"), NVREG_NO_SERVER) << "and no signal ends the process";
  EXPECT_EQ(client.refresh(), NVREG_NO_SERVER);
}

// Neither side of a connection over which nothing comes takes the processor from the other, however
// they wait.
TEST_F(Client, WhoWaitsSleeps) {
  auto expect_asleep = [](std::string const& task) {
    int asleep = 0;
    for (int look = 0; look < 10000 && asleep < 100; ++look, usleep(1000))
      asleep =
          read_text("/proc/" + task + "/stat").find(") S ") == std::string::npos ? 0 : asleep + 1;
    EXPECT_EQ(asleep, 100) << task;
  };
  RegistryClient client(home_.address());
  for (int i = 0; i < 100; ++i) ASSERT_EQ(client.create("k"), NVREG_OK);
  std::string const server = std::to_string(std::stoi(read_text(home_.config("regserver.pid"))));
  expect_asleep(server);
  kill(std::stoi(server), SIGSTOP);
  std::atomic<int> task = 0;
  std::thread caller([&] {
    task = gettid();
    EXPECT_EQ(client.create("k"), NVREG_OK);
  });
  while (task == 0) usleep(1000);
  expect_asleep("self/task/" + std::to_string(task));
  kill(std::stoi(server), SIGCONT);
  caller.join();
}

}  // namespace
