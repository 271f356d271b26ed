// Clients that break the rules get nowhere, and another client never notices them.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "files.h"
#include "frame.h"
#include "nvreg.h"
#include "registry_client.h"
#include "scratch_home.h"

namespace {

using std::string_literals::operator""s;

class Intruder : public testing::Test {
 protected:
  Intruder() { home_.start(); }

  zeva::Descriptor connect() const {
    zeva::Descriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
    timeval wait = {20, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(home_.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return socket;
  }

  std::string greeting(uint32_t version = zeva::kWireVersion) const {
    std::string cookie;
    EXPECT_EQ(zeva::read_file(home_.config("regserver.cookie"), cookie), 0);
    zeva::wire::Greeting greeting;
    greeting.set_version(version);
    greeting.set_cookie(cookie);
    return zeva::to_frame(greeting);
  }

  // A new connection over which the bytes have been sent.
  zeva::Descriptor sender(std::string const& bytes) const {
    zeva::Descriptor socket = connect();
    send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    return socket;
  }

  // All that the server answers until it ends the connection.
  static std::string answers(zeva::Descriptor const& socket) {
    std::string got;
    char buffer[1024];
    ssize_t length;
    while ((length = recv(socket.get(), buffer, sizeof buffer, 0)) > 0)
      got.append(buffer, static_cast<size_t>(length));
    EXPECT_TRUE(length == 0 || errno == ECONNRESET) << "the server keeps the connection";
    return got;
  }

  ScratchHome home_;
};

std::string answer_frame(int32_t status) {
  zeva::wire::Answer answer;
  answer.set_status(status);
  return zeva::to_frame(answer);
}

TEST_F(Intruder, LosesItsConnectionAndNothingElseHappens) {
  RegistryClient client(home_.address());
  zeva::wire::Greeting stranger;
  stranger.set_version(zeva::kWireVersion);
  std::string const no_cookie = zeva::to_frame(stranger);
  stranger.set_cookie(std::string(zeva::kCookieLength, '\0'));
  zeva::wire::Greeting endless = stranger;
  endless.set_cookie(std::string(zeva::kMaxGreeting, 'c'));
  std::string const refused = answer_frame(NVREG_REFUSED);
  std::string const welcome = answer_frame(NVREG_OK);
  struct {
    char const* who;
    std::string sent;
    std::string answered;
  } const cases[] = {
      {"without a cookie", no_cookie, refused},
      {"with a wrong cookie", zeva::to_frame(stranger), refused},
      {"of another version", greeting(zeva::kWireVersion + 1), refused},
      {"with a greeting that is none", "\3\0\0\0\xff\xff\xff"s, ""},
      {"with a greeting over its bound", zeva::to_frame(endless), ""},
      {"calling without a greeting", "\2\0\0\0\x08\x09"s, refused},
      {"with a frame of 4 GiB", greeting() + "\xff\xff\xff\xff"s, welcome},
      {"with a frame over its bound", greeting() + "\1\0\x40\0"s, welcome},
      {"with a call that is none", greeting() + "\1\0\0\0\xff"s, welcome},
  };
  for (auto& [who, sent, answered] : cases) {
    EXPECT_EQ(answers(sender(sent)), answered) << who;
    EXPECT_EQ(client.set("registry", "still", NVREG_STRING, who), NVREG_OK);
    EXPECT_EQ(client.query("registry", "still"), who);
  }
}

TEST_F(Intruder, RandomBytesChangeNothing) {
  unsigned const seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  RegistryClient client(home_.address());
  std::string const before = to_text(client.contents());
  for (int i = 0; i < 300; ++i) {
    std::string bytes(random() % 300 + 4, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    if (i % 2 == 0) bytes.replace(0, 4, {static_cast<char>(bytes.size() - 4), 0, 0, 0});
    (void)sender((i % 3 == 0 ? "" : greeting()) + bytes);
  }
  EXPECT_EQ(to_text(client.contents()), before);
}

TEST_F(Intruder, ManyWhoSayNothingKeepNobodyOut) {
  std::vector<zeva::Descriptor> silent;
  for (int i = 0; i < 300; ++i) silent.push_back(connect());
  RegistryClient client(home_.address());
  EXPECT_EQ(client.create("served"), NVREG_OK);
  EXPECT_EQ(answers(silent[0]), "") << "the oldest made room";
}

// The server trusts no path or name that it is sent, whatever the library would have refused.
TEST_F(Intruder, CallsThatTheLibraryWouldNotMake) {
  struct {
    zeva::wire::Action action;
    std::string path, name;
    uint32_t type;
    std::string data;
    int32_t status;
  } const cases[] = {
      {zeva::wire::CREATE_KEY, "a\0b"s, "", 0, "", NVREG_BAD_NAME},
      {zeva::wire::DELETE_KEY, "\\\\", "", 0, "", NVREG_BAD_ARGUMENT},
      {zeva::wire::SET_VALUE, "", "a\\b", 0, "1234", NVREG_BAD_NAME},
      {zeva::wire::SET_VALUE, "", "a", 0, "123", NVREG_BAD_ARGUMENT},
      {zeva::wire::SET_VALUE, "", "a", 9, "", NVREG_BAD_ARGUMENT},
      {zeva::wire::SET_VALUE, "", "a", 2, std::string(1048577, 'a'), NVREG_VALUE_TOO_LONG},
      {static_cast<zeva::wire::Action>(77), "", "", 0, "", NVREG_MALFORMED},
  };
  for (auto& [action, path, name, type, data, status] : cases) {
    zeva::wire::Call call;
    call.set_action(action);
    call.set_path(path);
    call.set_name(name);
    call.set_type(type);
    call.set_data(data);
    std::string const sent = greeting() + zeva::to_frame(call) + "\xff\xff\xff\xff"s;
    EXPECT_EQ(answers(sender(sent)), answer_frame(NVREG_OK) + answer_frame(status))
        << action << " " << status;
  }
}

TEST_F(Intruder, TheCookieIsFreshAndForItsOwnerOnly) {
  std::string before;
  std::string after;
  struct stat about;
  ASSERT_EQ(zeva::read_file(home_.config("regserver.cookie"), before), 0);
  home_.kill();
  // Left by somebody, to be written into.
  std::filesystem::remove(home_.config("regserver.cookie"));
  std::filesystem::create_symlink(home_.path() + "/elsewhere", home_.config("regserver.cookie"));
  home_.start();
  ASSERT_EQ(zeva::read_file(home_.config("regserver.cookie"), after), 0);
  EXPECT_NE(before, after);
  EXPECT_EQ(after.size(), zeva::kCookieLength);
  EXPECT_FALSE(std::filesystem::exists(home_.path() + "/elsewhere"));
  ASSERT_EQ(stat(home_.config("regserver.cookie").c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 07777, 0600u);
}

}  // namespace
