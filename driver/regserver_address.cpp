#include "regserver_address.h"

#include "nvconfigfile.h"
#include "product_home.h"
#include "runlog.h"

int getregport(char const* home, std::string& port) {
  switch (zeva::find_regport(home, port)) {
    case zeva::PortSetting::kFound:
      return 0;
    case zeva::PortSetting::kNoFile:
      LogDebugMessage("Error [%d]: read RegSvrCfg.ini failed.", 183);
      return -1;
    case zeva::PortSetting::kNoPort:
      LogDebugMessage(
          "Error [%d]: read CFILTER_REGSERVER, CFILTER_REGSERVER_PORT from RegSvrCfg.ini failed.",
          188);
      return -1;
  }
  return -1;
}

namespace zeva {

PortSetting find_regport(std::string const& home, std::string& port) {
  NvConfigFile settings(home + "/bin/migration/RegSvrCfg.ini");
  if (settings.readfile() != 0) return PortSetting::kNoFile;
  return settings.getattribute("CFILTER_REGSERVER", "CFILTER_REGSERVER_PORT", port) == 0
             ? PortSetting::kFound
             : PortSetting::kNoPort;
}

FixedText<> regserver_address() {
  std::string port = std::to_string(kRegistryPort);
  (void)getregport(product_home(), port);
  FixedText address;
  address.add("ZEVA:").add(port.c_str());
  return address;
}

}  // namespace zeva
