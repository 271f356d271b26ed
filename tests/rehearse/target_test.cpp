#include "target.h"

#include "descriptor.h"
#include "work_folder.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

// A disk that keeps nine tenths for root.
extern "C" __attribute__((visibility("default"))) int __wrap_statvfs64(char const*,
                                                                       struct statvfs64* disk) {
  disk->f_blocks = disk->f_bfree = 100;
  disk->f_bavail = 10;
  disk->f_frsize = 1;
  return 0;
}

namespace {

bool tells(zeva::Target const& target, std::string const& text) {
  return std::ranges::any_of(target.findings, [&](zeva::Finding const& found) {
    std::string const all = found.kind + " " + found.file + ": " + found.text + "; " + found.advice;
    return all.find(text) != all.npos;
  });
}

// A home of root's, whose port is taken, and a lock in it.
TEST(Target, IsSeenWithTheEyesOfItsUser) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  WorkFolder const home;
  zeva::Descriptor const taken(socket(AF_INET, SOCK_STREAM, 0));
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const bound = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(bind(taken.get(), bound, size), 0);
  ASSERT_EQ(getsockname(taken.get(), bound, &size), 0);
  std::string const port = std::to_string(ntohs(address.sin_port));
  home.write("bin/migration/RegSvrCfg.ini", "[CFILTER_REGSERVER]\nCFILTER_REGSERVER_PORT=" + port);
  home.write("config/regserver.cookie", "");
  home.write("config/migrate.lock", "");
  home.sh("chmod -R a+rX . && chmod 600 config/*");
  auto const as_root = zeva::look_at_target(home.path());
  ASSERT_EQ(seteuid(65534), 0);
  auto const as_other = zeva::look_at_target(home.path());
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(as_root.home.room, 100u);
  EXPECT_EQ(as_other.home.room, 10u);
  std::string const active = "active-run " + home.path() + ": another user is migrating, ";
  EXPECT_FALSE(tells(as_root, active));
  EXPECT_TRUE(tells(as_other, active));
  std::string const foreign = "port 127.0.0.1:" + port + ": is taken by a program that ";
  EXPECT_TRUE(tells(as_root, foreign + "does not prove"));
  EXPECT_TRUE(tells(as_other, foreign + "this user cannot ask"));
  auto const handed = zeva::target_of(zeva::texts_of(as_other));
  EXPECT_TRUE(tells(handed, "; start the migration as the user of the registry server"));
  EXPECT_TRUE(tells(as_root, home / "xhtml/en/download: cannot be written "));
  EXPECT_TRUE(tells(as_root, "No such file or directory; make that folder"));

  home.write("bin/migration/RegSvrCfg.ini", "[CFILTER_REGSERVER]\nCFILTER_REGSERVER_PORT=0");
  EXPECT_TRUE(tells(zeva::look_at_target(home.path()), "port 127.0.0.1:0: is no port"));
}

// The package twice or beside its export, and a mebibyte, that export and the backup.
TEST(Target, NeedsRoomForAllThatTheRunWrites) {
  for (auto const& [package, in_tmp] : {std::pair(100u, 350u), std::pair(400u, 800u)}) {
    for (unsigned const lacking : {0u, 1u}) {
      for (unsigned const disks : {1u, 2u}) {
        uint64_t const in_home = 250 + 30 + (1 << 20) - lacking;
        std::vector<zeva::Finding> findings;
        report_room({{},
                     {"", 1, in_tmp + (disks == 1 ? in_home : -uint64_t{lacking})},
                     {"", disks, in_home}},
                    {package, 250, 30}, findings);
        EXPECT_EQ(findings.size(), lacking * disks) << package;
      }
    }
  }
}

}  // namespace
