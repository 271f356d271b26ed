#include "migrate.h"

#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include <new>
#include <string>

#include "commands.h"
#include "fixed_text.h"
#include "importers.h"
#include "opened_package.h"
#include "package_guard.h"
#include "policy_backup.h"
#include "product_home.h"
#include "regserver_control.h"
#include "runlog.h"

namespace {

constexpr unsigned kWatchdogSeconds = 300;

struct Importer {
  char const* progress;  // the line logged before it, if any
  int (*import)(char const* dir, char const* regfile);
};

constexpr Importer kImporters[] = {
    {"Import filter actions...", import_filter_action},
    {"Import config settings...", import_config},
    {"Import policys...", import_policy},
    {nullptr, import_xfilter},
    {"Import address groups...", import_addr_list},
    {nullptr, import_misc},
};

sigjmp_buf restore_point;

bool exists(char const* path) {
  return access(path, F_OK) == 0;
}

int make_regserver_run() {
  if (_find_process(kRegServerProcess)) return 0;
  LogDebugMessage("RegServer is not running, try to start regserver...");
  if (StartRegServer()) return 0;
  LogDebugMessage("Error [%d]: start regserver failed.", 0);
  return -7;
}

// The registry server's address as the importers take it. In a buffer of its own: a string would
// have to be freed after the jump.
FixedText<> regserver_address() {
  std::string port = "5069";
  getregport(zeva::product_home(), port);
  FixedText address;
  address.add("ZEVA:").add(port.c_str());
  return address;
}

// Running out of memory is the one failure that importers do not report by a status.
int run_importer(Importer const& importer, char const* address) {
  try {
    return importer.import(kUnpackFolder, address);
  } catch (std::bad_alloc const&) {
    LogDebugMessage("Error [%d]: not enough memory to import.", 347);
    return -18;
  }
}

int import_or_restore(char const* address) {
  signal(SIGALRM, timeout);
  if (sigsetjmp(restore_point, 1) != 0) {
    alarm(0);
    LogDebugMessage("Timeout, restore all configurations.");
    restore_policy_files();
    return -17;
  }

  alarm(kWatchdogSeconds);
  for (Importer const& importer : kImporters) {
    if (importer.progress != nullptr) LogDebugMessage("%s", importer.progress);
    int result = run_importer(importer, address);
    if (result != 0) {
      alarm(0);
      restore_policy_files();
      return result;
    }
  }
  LogDebugMessage("Import successfully.");
  alarm(0);
  return 0;
}

void stop_regserver() {
  LogDebugMessage("Stop regserver.");
  StopRegServer();
}

void clean_up() {
  stop_regserver();
  remove_opened_package();
}

}  // namespace

int migrate(char const* package) {
  if (!exists(package)) {
    LogDebugMessage("Error [%d]: package %s don't exists.", 220, package);
    return -1;
  }
  if (stands_in_the_way(package, kPackageCopy, kKeyFile, kUnpackFolder)) {
    // The package stays: neither the run nor its clean-up touches anything under /tmp.
    LogDebugMessage("Error [%d]: backup package failed.", 233);
    stop_regserver();
    return -4;
  }

  int result = open_package(package);
  if (result == 0) result = make_regserver_run();
  if (result == 0) {
    auto address = regserver_address();
    result = back_up_policy_files();
    if (result == 0) result = import_or_restore(address.c_str());
  }
  clean_up();
  return result;
}

void timeout(int) {
  siglongjmp(restore_point, 1);
}

bool is_web_enable() {
  FixedText path;
  path.add(zeva::product_home()).add("/config/disable.webui");
  return !exists(path.c_str());
}
