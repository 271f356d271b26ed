#include "settings.h"

#include "nvconfigfile.h"
#include "port.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

namespace zeva {

namespace {

constexpr char kSection[] = "CFILTER_REGSERVER";
constexpr char kAddressKey[] = "CFILTER_REGSERVER_ADDRESS";
constexpr char kPortKey[] = "CFILTER_REGSERVER_PORT";

}  // namespace

bool read_settings(std::string const& home, Settings& settings, std::string& why) {
  std::string const path = home + "/bin/migration/RegSvrCfg.ini";
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) return true;
  NvConfigFile file(path);
  if (file.readfile() != 0) {
    why = path + ": it cannot be read";
    return false;
  }
  std::string address;
  if (file.getattribute(kSection, kAddressKey, address) == 0 && address != "127.0.0.1") {
    why = path + ": " + kAddressKey + " is " + address +
          "; only 127.0.0.1 is served, which is where clients look";
    return false;
  }
  std::string port;
  if (file.getattribute(kSection, kPortKey, port) == 0 && !read_port(port, settings.port)) {
    why = path + ": " + kPortKey + " is " + port + "; a number from 1 to 65535 is needed";
    return false;
  }
  return true;
}

}  // namespace zeva
