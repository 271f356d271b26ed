// Where the gateway is installed.
#pragma once

namespace zeva {

// The value of ZEVA_HOME, also when it is empty; "/opt/norva/zeva" when it is not set. The text is
// the environment's own. Signal handlers may call this: it allocates nothing and takes no lock.
char const* product_home();

}  // namespace zeva

// The same, cut at 255 bytes. The text stays valid until the next call.
char const* gethomepath();
