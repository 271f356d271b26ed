// Where the gateway is installed.
#pragma once

namespace zeva {

// The value of ZEVA_HOME, also when it is empty; "/opt/norva/zeva" when it is not set. The text is
// the environment's own. Signal handlers may call this: it allocates nothing and takes no lock.
[[nodiscard]] char const* product_home();

// Where its registry server listens on the loopback address, unless RegSvrCfg.ini names another.
inline constexpr unsigned short kRegistryPort = 5069;

}  // namespace zeva
