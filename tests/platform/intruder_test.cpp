// Clients that break the rules get nowhere, and another client never notices them.
#include "files.h"
#include "frame.h"
#include "nvreg.h"
#include "ordered.h"
#include "proof.h"
#include "registry_client.h"
#include "scratch_home.h"
#include "text.h"
#include "tree.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <thread>

static size_t compared;  // how often bytes were compared

#pragma GCC visibility push(default)
extern "C" {
int __real_memcmp(void const*, void const*, size_t);
int __wrap_memcmp(void const*, void const*, size_t);
}
#pragma GCC visibility pop
int __wrap_memcmp(void const* a, void const* b, size_t length) {
  ++compared;
  return __real_memcmp(a, b, length);
}

namespace {

using std::string_literals::operator""s;
using Files = std::filesystem::directory_iterator;

constexpr uid_t kNobody = 65534;

class Intruder : public testing::Test {
 protected:
  Intruder() { start(); }

  // So that clients come where others can be, too.
  void start() {
    home_.start();
    std::filesystem::remove(socket_);
  }

  zeva::Descriptor connect() const {
    zeva::Descriptor socket(::socket(AF_INET, SOCK_STREAM, 0));
    timeval wait = {20, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
    EXPECT_TRUE(reach(socket, "127.0.0.1"));
    return socket;
  }

  bool reach(zeva::Descriptor const& socket, char const* host) const {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(home_.port()));
    inet_pton(AF_INET, host, &address.sin_addr);
    return ::connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }

  std::string cookie() const {
    std::string bytes;
    EXPECT_EQ(zeva::read_file(cookie_, bytes), 0);
    return bytes;
  }

  // A new connection of a client who knows, or believes in, a cookie, and has proved it. Without
  // one he sends the server's own proof back.
  zeva::Descriptor knower(std::string const& cookie) const {
    std::string const nonce(zeva::kSecretLength, 'n');
    zeva::Descriptor socket = sender(greeting(zeva::kWireVersion, nonce));
    zeva::wire::Challenge challenge;
    EXPECT_TRUE(zeva::from_bytes(receive_message(socket), challenge));
    zeva::wire::Proof proof;
    auto const port = static_cast<uint16_t>(home_.port());
    proof.set_proof(cookie.empty() ? challenge.proof()
                                   : zeva::make_proof(cookie, zeva::Side::kClient, port,
                                                      challenge.nonce(), nonce));
    send_all(socket, zeva::to_frame(proof));
    return socket;
  }

  static std::string greeting(uint32_t version, std::string const& nonce) {
    zeva::wire::Greeting greeting;
    greeting.set_version(version);
    greeting.set_nonce(nonce);
    return zeva::to_frame(greeting);
  }

  static std::string receive_message(zeva::Descriptor const& socket) {
    char header[zeva::kFrameHeader] = {};
    recv(socket.get(), header, sizeof header, MSG_WAITALL);
    std::string message(zeva::get_number32(header), '\0');
    if (!message.empty()) recv(socket.get(), message.data(), message.size(), MSG_WAITALL);
    return message;
  }

  static void send_all(zeva::Descriptor const& socket, std::string const& bytes) {
    send(socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }

  // A new connection over which the bytes have been sent.
  zeva::Descriptor sender(std::string const& bytes) const {
    zeva::Descriptor socket = connect();
    send_all(socket, bytes);
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
  std::string const cookie_ = home_.config("regserver.cookie");
  std::string const socket_ = home_.config("regserver.socket");
};

std::string answer_frame(int32_t status) {
  zeva::wire::Answer answer;
  answer.set_status(status);
  return zeva::to_frame(answer);
}

TEST_F(Intruder, LosesItsConnectionAndNothingElseHappens) {
  RegistryClient client(home_.address());
  std::string const nonce(zeva::kSecretLength, 'n');
  std::string nearly = cookie();
  nearly.back() ^= 1;
  std::string const refused = answer_frame(NVREG_REFUSED);
  std::string const welcome = answer_frame(NVREG_OK);
  struct {
    char const* who;
    std::string cookie;  // whose proof comes first; none is given for an empty one
    std::string sent;
    std::string answered;
  } const cases[] = {
      {"without a nonce", "", greeting(zeva::kWireVersion, ""), refused},
      {"with a short nonce", "", greeting(zeva::kWireVersion, nonce.substr(1)), refused},
      {"of an older version", "", greeting(1, cookie()), refused},
      {"with a greeting that is none", "", "\3\0\0\0\xff\xff\xff"s, ""},
      {"with a greeting over its bound", "", greeting(zeva::kWireVersion, std::string(256, 'n')),
       ""},
      {"calling without a greeting", "", "\2\0\0\0\x08\x09"s, refused},
      {"with a wrong last byte of the cookie", nearly, "", refused},
      {"with a frame of 4 GiB", cookie(), "\xff\xff\xff\xff"s, welcome},
      {"with a frame over its bound", cookie(), "\1\0\x40\0"s, welcome},
      {"with a call that is none", cookie(), "\1\0\0\0\xff"s, welcome},
      {"with an empty call", cookie(), "\0\0\0\0"s, welcome},
  };
  EXPECT_EQ(answers(knower("")), refused) << "with the server's proof";
  for (auto& [who, cookie, sent, answered] : cases) {
    zeva::Descriptor socket = cookie.empty() ? connect() : knower(cookie);
    send_all(socket, sent);
    EXPECT_EQ(answers(socket), answered) << who;
    EXPECT_EQ(client.set("registry", "still", NVREG_STRING, who), NVREG_OK);
    EXPECT_EQ(client.query("registry", "still"), who);
  }
}

// However many calls come at once, cut wherever, and whether their answers are read or not: others
// have their turn, and in the end each is answered.
TEST_F(Intruder, CallsInOneStreamAreAllAnsweredAndKeepNobodyWaiting) {
  RegistryClient client(home_.address());
  std::string const big(NVREG_MAX_VALUE, 'x');
  ASSERT_EQ(client.set("registry", "big", NVREG_BINARY, big), NVREG_OK);
  zeva::wire::Call call;
  call.set_action(zeva::wire::QUERY_VALUE);
  call.set_key("registry");
  call.set_name("big");
  std::string calls;
  for (int i = 0; i < 100; ++i) calls += zeva::to_frame(call);
  zeva::Descriptor const stream = knower(cookie());
  EXPECT_EQ(receive_message(stream), "") << "welcome";
  send_all(stream, calls.substr(0, calls.size() - 1));
  EXPECT_EQ(client.query("registry", "big"), big);
  for (int i = 0; i < 100; ++i) {
    if (i == 99) send_all(stream, calls.substr(calls.size() - 1));
    EXPECT_GT(receive_message(stream).size(), big.size()) << i;
  }

  // Small ones, whose answers are taken as fast as they come, so that the server waits for nobody.
  constexpr size_t kMany = 300000;
  call.set_name("none");
  std::string const small = zeva::to_frame(call);
  calls.clear();
  for (size_t i = 0; i < kMany; ++i) calls += small;
  send_all(stream, small);
  size_t const answers = kMany * (zeva::kFrameHeader + receive_message(stream).size());
  std::atomic<size_t> taken = 0;
  std::thread taker([&] {
    std::vector<char> room(1 << 20);
    for (ssize_t got = 1; taken < answers && got > 0; taken += static_cast<size_t>(got))
      got = std::max<ssize_t>(recv(stream.get(), room.data(), room.size(), 0), 0);
  });
  std::thread caller([&] { send_all(stream, calls); });
  while (taken == 0) usleep(100);
  EXPECT_EQ(client.query("registry", "big"), big);
  EXPECT_LT(taken, answers) << "all had their turn before the one call of another client";
  taker.join();
  caller.join();
  EXPECT_EQ(taken, answers);
}

// The page's example, by which others check their own: cookie, nonces, proofs.
TEST(Proof, IsThatOfThePage) {
  std::string const page = read_text(WIRE_PAGE);
  std::regex const hex("\\b[0-9a-f]{64}\\b");
  std::vector<std::string> secrets;
  for (std::sregex_iterator found(page.begin(), page.end(), hex), end; found != end; ++found)
    ASSERT_TRUE(zeva::from_hex(found->str(), secrets.emplace_back()));
  ASSERT_EQ(secrets.size(), 5u);
  std::string const &cookie = secrets[0], &client = secrets[1], &server = secrets[2];
  EXPECT_EQ(zeva::make_proof(cookie, zeva::Side::kServer, 5069, client, server), secrets[3]);
  std::string const proof = zeva::make_proof(cookie, zeva::Side::kClient, 5069, server, client);
  EXPECT_EQ(proof, secrets[4]);
  EXPECT_TRUE(zeva::same_proof(proof, secrets[4]));
  for (size_t i = 0; i < proof.size(); ++i) {
    std::string wrong = proof;
    wrong[i] ^= 1;
    EXPECT_FALSE(zeva::same_proof(wrong, proof)) << i;
  }
}

TEST_F(Intruder, ManyWhoSayNothingKeepNobodyOut) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  zeva::Descriptor slow = connect();
  std::vector<zeva::Descriptor> silent;
  std::string const secret = cookie();
  ASSERT_EQ(seteuid(kNobody), 0);
  zeva::Descriptor const known = knower(secret);
  EXPECT_EQ(receive_message(known), "") << "welcome";
  for (int i = 0; i < 300; ++i) silent.push_back(connect());
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(answers(silent[235]), "") << "all but the latest 64 made room";
  send_all(slow, greeting(zeva::kWireVersion, std::string(zeva::kSecretLength, 'n')));
  EXPECT_NE(receive_message(slow), "") << "our own user's never does";
  zeva::wire::Call call;
  call.set_action(zeva::wire::DELETE_KEY);
  send_all(known, zeva::to_frame(call));
  EXPECT_NE(receive_message(known), "") << "nor who has proved himself";
  sleep(11);
  zeva::Descriptor const last = connect();
  EXPECT_EQ(answers(slow), "") << "who has not in ten seconds makes room for anybody";
}

TEST_F(Intruder, AFloodKeepsNobodyOut) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  pid_t const flood = fork();
  if (flood == 0) {
    if (setresuid(kNobody, kNobody, kNobody) != 0 || prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
      _exit(1);
    for (;;) {
      std::vector<zeva::Descriptor> many;
      while (many.size() < 900) {
        many.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        reach(many.back(), "127.0.0.1");
      }
    }
  }
  for (int i = 0; i < 100; ++i) EXPECT_NO_THROW(RegistryClient(home_.address())) << "attempt " << i;
  EXPECT_EQ(kill(flood, SIGKILL), 0);
  int ended;
  EXPECT_EQ(waitpid(flood, &ended, 0), flood);
  EXPECT_TRUE(WIFSIGNALED(ended)) << "it never began";
}

TEST_F(Intruder, WhoTakesAllDescriptorsKeepsNobodyOutForEver) {
  std::string const server = read_text(home_.config("regserver.pid"));
  std::string const files = "/proc/" + server.substr(0, server.size() - 1) + "/fd";
  rlimit usual;
  ASSERT_EQ(prlimit(stoi(server), RLIMIT_NOFILE, nullptr, &usual), 0);
  rlimit const few{24, usual.rlim_max};
  ASSERT_EQ(prlimit(stoi(server), RLIMIT_NOFILE, &few, nullptr), 0);
  std::vector<zeva::Descriptor> many;
  for (long open = 0; open < 24; open = std::distance(Files(files), Files()))
    many.push_back(connect());
  many.push_back(connect());
  ASSERT_EQ(prlimit(stoi(server), RLIMIT_NOFILE, &usual, nullptr), 0);
  EXPECT_NO_THROW(RegistryClient(home_.address()));
}

// A network of this process's own, with few ports that a connection can come from, until its end.
class SmallNetwork {
 public:
  SmallNetwork() {
    if (unshare(CLONE_NEWNET) != 0) return;
    zeva::Descriptor any(::socket(AF_INET, SOCK_DGRAM, 0));
    ifreq loopback = {};
    strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    std::ofstream range("/proc/sys/net/ipv4/ip_local_port_range");
    there_ = ioctl(any.get(), SIOCSIFFLAGS, &loopback) == 0 &&
             (range << "40000 40099" << std::flush).good();
  }
  ~SmallNetwork() { EXPECT_EQ(setns(before_.get(), CLONE_NEWNET), 0); }
  [[nodiscard]] bool is_there() const { return there_; }

 private:
  zeva::Descriptor before_{open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC)};
  bool there_ = false;
};

TEST_F(Intruder, WhoHoldsAllPortsKeepsNobodyOut) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  home_.kill();
  SmallNetwork network;
  if (!network.is_there()) GTEST_SKIP() << "no network of our own";
  start();
  std::vector<zeva::Descriptor> held;
  ASSERT_EQ(seteuid(kNobody), 0);
  do held.emplace_back(::socket(AF_INET, SOCK_STREAM, 0));
  while (reach(held.back(), "127.0.0.1"));
  EXPECT_EQ(errno, EADDRNOTAVAIL);
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_NO_THROW(RegistryClient(home_.address()));
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
      {zeva::wire::SET_VALUE, "", "a", 2, std::string(NVREG_MAX_VALUE + 1, 'a'),
       NVREG_VALUE_TOO_LONG},
      {static_cast<zeva::wire::Action>(77), "", "", 0, "", NVREG_MALFORMED},
  };
  for (auto& [action, path, name, type, data, status] : cases) {
    zeva::wire::Call call;
    call.set_action(action);
    call.set_path(path);
    call.set_name(name);
    call.set_type(type);
    call.set_data(data);
    zeva::Descriptor socket = knower(cookie());
    send_all(socket, zeva::to_frame(call) + "\xff\xff\xff\xff"s);
    EXPECT_EQ(answers(socket), answer_frame(NVREG_OK) + answer_frame(status))
        << action << " " << status;
  }
}

// A name whose std::hash on 64 bits, which has no key, is that of every other such name.
std::string colliding_name(uint64_t number) {
  constexpr uint64_t kFactor = 0xc6a4a7935bd1e995, kInverse = 0x5f7a0ea7e59b19bd;
  auto const mix = [](uint64_t word) { return word ^ word >> 47; };
  uint64_t words[] = {number,
                      (0xc70f6907 ^ 16 * kFactor ^ mix(number * kFactor) * kFactor) * kFactor};
  words[1] = mix(words[1] * kInverse) * kInverse;
  return {reinterpret_cast<char const*>(words), sizeof words};
}

TEST(IntruderInTheStore, CannotMakeItSlowWithNamesThatCollide) {
  std::hash<std::string_view> const hash;
  if (hash(colliding_name(1)) != hash(colliding_name(2))) GTEST_SKIP() << "another std::hash";
  constexpr size_t kNames = 2000;
  zeva::Ordered<zeva::Value> values;
  compared = 0;
  for (size_t i = 0; i < kNames; ++i) values.at(colliding_name(i));
  for (size_t i = 0; i < kNames; ++i) values.erase(colliding_name(i));
  EXPECT_EQ(values.size(), 0u);
  EXPECT_LT(compared, 10 * kNames);
}

TEST_F(Intruder, FindsNobodyAtAnotherAddress) {
  EXPECT_FALSE(reach(zeva::Descriptor(::socket(AF_INET, SOCK_STREAM, 0)), "127.0.0.2"));
}

// Somebody else who holds the port that a client connects to, and what he received. He knows the
// home's real server, so he can ask it what to say.
class Stranger {
 public:
  using Reply = std::function<std::string(std::string const& received)>;

  explicit Stranger(Reply const& reply) {
    EXPECT_EQ(listen(port_.get(), 1), 0);
    thread_ = std::thread([this, reply] { talk(reply); });
  }
  ~Stranger() { received(); }

  [[nodiscard]] std::string const& address() const { return address_; }

  // All that the client has sent until it closed the last of its connections.
  std::string const& received() {
    shutdown(port_.get(), SHUT_RDWR);
    if (thread_.joinable()) thread_.join();
    return received_;
  }

  // How often the client came, once it is gone.
  [[nodiscard]] int visits() const { return visits_; }

 private:
  void talk(Reply const& reply) {
    for (int client; (client = accept(port_.get(), nullptr, nullptr)) >= 0; ++visits_)
      talk_to(zeva::Descriptor(client), reply);
  }

  void talk_to(zeva::Descriptor const& client, Reply const& reply) {
    received_.clear();
    char buffer[1024];
    for (ssize_t got; (got = recv(client.get(), buffer, sizeof buffer, 0)) > 0;) {
      bool const first = received_.empty();
      received_.append(buffer, static_cast<size_t>(got));
      std::string const answer = first ? reply(received_) : "";
      if (first && answer.empty()) return;
      send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
    }
  }

  zeva::Descriptor port_{::socket(AF_INET, SOCK_STREAM, 0)};
  std::string address_ = "ZEVA:" + std::to_string(bind_to_loopback(port_.get()));
  std::string received_;
  int visits_ = 0;
  std::thread thread_;
};

std::string challenge(std::string const& nonce, std::string const& proof) {
  zeva::wire::Challenge challenge;
  challenge.set_nonce(nonce);
  challenge.set_proof(proof);
  return zeva::to_frame(challenge);
}

TEST_F(Intruder, AtThePortLearnsNothingOfAClient) {
  std::string const secret = cookie();
  std::string const zeros(zeva::kSecretLength, '\0');
  auto nonce_of = [](std::string const& greeting) {
    return greeting.substr(greeting.size() - zeva::kSecretLength);
  };
  struct {
    char const* who;
    Stranger::Reply reply;
  } const cases[] = {
      {"who hangs up", [](auto&) { return ""; }},
      {"who says that all is well", [](auto&) { return answer_frame(NVREG_OK); }},
      {"who guesses",
       [&](auto&) {
         EXPECT_EQ(sockets_waiting(10), 1) << "for no longer, and no child of ours does";
         return challenge(zeros, zeros);
       }},
      {"who gives no nonce", [&](auto&) { return challenge("", zeros); }},
      {"who says nothing but a nonce", [&](auto&) { return challenge(zeros, ""); }},
      {"who sends everything back", [](auto& greeting) { return greeting; }},
      {"who sends the nonce back",
       [&](auto& greeting) { return challenge(nonce_of(greeting), nonce_of(greeting)); }},
      {"who sends garbage", [](auto&) { return "\3\0\0\0\xff\xff\xff"s; }},
      {"who sends a frame of 4 GiB", [](auto&) { return "\xff\xff\xff\xff"s; }},
      {"who lets the real server speak for him",
       [&](auto& greeting) {
         std::string const message = receive_message(sender(greeting));
         return std::string{static_cast<char>(message.size()), 0, 0, 0} + message;
       }},
  };
  for (auto& [who, reply] : cases) {
    Stranger stranger(reply);
    EXPECT_EQ(opening(stranger.address()), NVREG_REFUSED) << who;
    std::string const& received = stranger.received();
    EXPECT_EQ(received, greeting(zeva::kWireVersion, nonce_of(received))) << who;
    EXPECT_EQ(received.find(secret), received.npos) << who;
    EXPECT_EQ(stranger.visits() > 1, who == "who hangs up"s) << "only the lost are tried again";
  }
}

TEST_F(Intruder, AtASocketInTheHomeLearnsNothingOfAClient) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  zeva::Descriptor const stranger(::socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  socket_.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(stranger.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(seteuid(kNobody), 0);
  EXPECT_EQ(listen(stranger.get(), 1), 0);
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(opening(home_.address()), NVREG_OK);
  EXPECT_EQ(answers(zeva::Descriptor(accept(stranger.get(), nullptr, nullptr))), "");
}

TEST_F(Intruder, ACookieOfAnybodyElseIsNone) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  struct {
    char const* commands;  // on the cookie $c, one case after the other
    bool good;
  } const cases[] = {{"chmod 640 $c", false},
                     {"chmod 604 $c", false},
                     {"chmod 600 $c; chown 65534 .", true},
                     {"chown 65534 $c", true},
                     {"chown 0 .", false},
                     {"chown 0 $c; mv $c d; ln -s d $c", false},
                     {"rm $c; mkfifo -m 600 $c", false},
                     {"rm $c; mv d $c; echo >>$c", false}};
  for (auto& [commands, good] : cases) {
    std::string const in_config = "c=" + cookie_ + "; cd " + home_.config("") + "; ";
    ASSERT_EQ(system((in_config + commands).c_str()), 0);
    EXPECT_EQ(opening(home_.address()), good ? NVREG_OK : NVREG_REFUSED) << commands;
  }
}

TEST_F(Intruder, TheCookieIsFreshAndForItsOwnerOnly) {
  std::string const before = cookie();
  struct stat about;
  home_.kill();
  // Left by somebody, to be written into.
  std::filesystem::remove(cookie_);
  std::filesystem::create_symlink(home_.path() + "/elsewhere", cookie_);
  write_text(cookie_ + ".new", "for everybody to read");
  start();
  std::string const after = cookie();
  EXPECT_NE(before, after);
  EXPECT_EQ(after.size(), zeva::kSecretLength);
  EXPECT_FALSE(std::filesystem::exists(home_.path() + "/elsewhere"));
  ASSERT_EQ(stat(cookie_.c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 07777, 0600u);
}

}  // namespace
