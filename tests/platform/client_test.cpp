#include <gtest/gtest.h>

#include "nvreg.h"
#include "registry_client.h"
#include "scratch_home.h"

namespace {

TEST(Client, FindsTheFactoryPolicyAndKeepsWhatItIsTold) {
  ScratchHome home;
  home.start();
  {
    RegistryClient client(home.address());
    EXPECT_EQ(client.query("registry\\config", "ProcessErrorCls"), std::string("Quarantine\0", 11));
    EXPECT_EQ(client.create("a\\\\b\\"), NVREG_OK);
    EXPECT_EQ(client.set("a\\b", "", NVREG_BINARY, "x"), NVREG_OK);
  }
  home.kill();
  home.start();
  RegistryClient client(home.address());
  EXPECT_EQ(client.query("a\\b", ""), "x");
}

}  // namespace
