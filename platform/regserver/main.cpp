// regserver: the registry server. With --background it returns once it answers.

#include "background.h"
#include "product_home.h"
#include "report.h"
#include "server.h"

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <exception>
#include <memory>
#include <string>

namespace {

// The server stands in its home, so that the service script can tell one home's server from another
// one's. Empty on failure.
std::string enter_home(std::string& why) {
  std::string const home = zeva::product_home();
  if (chdir(home.empty() ? "/" : home.c_str()) != 0) {
    why = home + ": " + strerror(errno);
    return {};
  }
  std::unique_ptr<char, decltype(&free)> folder(getcwd(nullptr, 0), free);
  return folder ? folder.get() : home;
}

int serve(bool background) {
  std::string why;
  std::string const home = enter_home(why);
  if (!home.empty()) zeva::set_report_file(home + "/config/registry.log");
  zeva::Server server;
  if (home.empty() || !server.start(home, why)) {
    zeva::report(why);
    return 1;
  }
  if (background) zeva::background_ready();
  server.run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  bool background = argc == 2 && strcmp(argv[1], "--background") == 0;
  if (argc > 1 && !background) {
    fprintf(stderr, "usage: %s [--background]\n", argv[0]);
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);
  signal(SIGHUP, SIG_IGN);
  signal(SIGIO, SIG_IGN);  // of a lease, see filewatch.cpp
  if (background) zeva::go_to_background();
  try {
    return serve(background);
  } catch (std::exception const& error) {
    zeva::report(error.what());
    return 1;
  }
}
