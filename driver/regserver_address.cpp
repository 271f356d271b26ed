#include "regserver_address.h"

#include "nvconfigfile.h"
#include "product_home.h"
#include "runlog.h"

int getregport(char const* home, std::string& port) {
  std::string path = std::string(home) + "/bin/migration/RegSvrCfg.ini";
  NvConfigFile settings(path);
  if (settings.readfile() != 0) {
    LogDebugMessage("Error [%d]: read RegSvrCfg.ini failed.", 183);
    return -1;
  }
  if (settings.getattribute("CFILTER_REGSERVER", "CFILTER_REGSERVER_PORT", port) != 0) {
    LogDebugMessage(
        "Error [%d]: read CFILTER_REGSERVER, CFILTER_REGSERVER_PORT from RegSvrCfg.ini failed.",
        188);
    return -1;
  }
  return 0;
}

namespace zeva {

FixedText<> regserver_address() {
  std::string port = std::to_string(kRegistryPort);
  (void)getregport(product_home(), port);
  FixedText address;
  address.add("ZEVA:").add(port.c_str());
  return address;
}

}  // namespace zeva
