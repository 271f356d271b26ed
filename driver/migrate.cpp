#include "migrate.h"

#include "commands.h"
#include "fixed_text.h"
#include "importers.h"
#include "opened_package.h"
#include "package_guard.h"
#include "policy_backup.h"
#include "product_home.h"
#include "regserver_address.h"
#include "regserver_control.h"
#include "result.h"
#include "results.h"
#include "run_lock.h"
#include "runlog.h"

#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include <exception>

using namespace zeva;

namespace {

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
enum Jump { kTimeout = 1, kOutOfMemory = 2 };  // how the restore point is reached again
volatile sig_atomic_t importing = 0;           // there is a restore point to jump to

bool exists(char const* path) {
  return access(path, F_OK) == 0;
}

int make_regserver_run() {
  if (_find_process(kRegServerProcess)) return 0;
  LogDebugMessage("RegServer is not running, try to start regserver...");
  if (StartRegServer()) return 0;
  LogDebugMessage("Error [%d]: start regserver failed.", 0);  // the script's line has the number
  return kNoServer;
}

int out_of_memory() {
  LogDebugMessage("Error [%d]: not enough memory to import.", 347);
  return kNotEnoughMemory;
}

// Running out of memory is the one failure that is not reported by a status.
template <class Step>
int unless_out_of_memory(Step step) {
  try {
    return step();
  } catch (std::exception const&) {
    return out_of_memory();
  }
}

// What cannot be thrown further, out of a destructor, ends here. It leaves the importers as the
// watchdog does.
[[noreturn]] void leave_out_of_memory() {
  if (importing != 0) siglongjmp(restore_point, kOutOfMemory);
  abandon_package();
  my_exit(out_of_memory());
}

void mask_alarm(int how) {
  sigset_t alarm_alone;
  sigemptyset(&alarm_alone);
  sigaddset(&alarm_alone, SIGALRM);
  sigprocmask(how, &alarm_alone, nullptr);
}

void ignore_alarm(int) {}

// From here on the alarm, or one that somebody sends, changes nothing: signal(), unlike
// my_signal(), lets what it interrupts go on. A handler and not SIG_IGN, which the commands of the
// run would inherit.
void end_watch() {
  importing = 0;
  signal(SIGALRM, ignore_alarm);
  mask_alarm(SIG_UNBLOCK);
}

int run_importers(char const* address) {
  for (Importer const& importer : kImporters) {
    if (importer.progress != nullptr) {
      LogDebugMessage("%s", importer.progress);
      sync_debug_log();
    }
    int const result =
        unless_out_of_memory([&] { return importer.import(kUnpackFolder, address); });
    if (result != 0) return result;
  }
  return 0;
}

int restore(int result) {
  alarm(0);
  restore_policy_files();
  return result;
}

int import_or_restore(char const* address) {
  mask_alarm(SIG_BLOCK);  // until there is a point to jump to
  signal(SIGALRM, timeout);
  switch (sigsetjmp(restore_point, 1)) {
    case kTimeout:
      end_watch();
      LogDebugMessage("Timeout, restore all configurations.");
      return restore(kOutOfTime);
    case kOutOfMemory:
      end_watch();
      return restore(out_of_memory());
  }
  importing = 1;
  mask_alarm(SIG_UNBLOCK);
  alarm(kWatchdogSeconds);
  int const result = run_importers(address);
  end_watch();
  if (result != 0) return restore(result);
  LogDebugMessage("Import successfully.");
  alarm(0);
  return 0;
}

void stop_regserver() {
  LogDebugMessage("Stop regserver.");
  (void)StopRegServer();  // the log says when it stays; the run has its result
}

void clean_up() {
  stop_regserver();
  check_restored_policy_files();
  remove_opened_package();
}

int prepare(char const* package, FixedText<>& address) {
  int result = open_package(package);
  if (result == 0) result = make_regserver_run();
  if (result != 0) return result;
  address = regserver_address();
  return back_up_policy_files();
}

// The run would delete such a package: neither it nor its clean-up then touches anything under
// /tmp.
int refuse_package_in_the_way(char const* package) {
  if (!stands_in_the_way(package, kPackageCopy, kKeyFile, kUnpackFolder)) return 0;
  LogDebugMessage("Error [%d]: backup package failed.", 233);
  return kNotCopied;
}

}  // namespace

int migrate(char const* package) {
  std::set_terminate(leave_out_of_memory);
  if (pid_t holder = 0; !take_run_lock(holder)) {
    if (holder != 0)
      LogDebugMessage("Error [%d]: another migration is running, process %d.", 214, holder);
    else
      LogDebugMessage("Error [%d]: a command of an ended migration is still running.", 217);
    return kAnotherRun;
  }
  if (!exists(package)) {
    LogDebugMessage("Error [%d]: package %s don't exists.", 220, package);
    return kNoPackage;
  }
  int result = unless_out_of_memory([&] { return refuse_package_in_the_way(package); });
  if (result != 0) {
    stop_regserver();
    return result;
  }

  FixedText<> address;
  result = unless_out_of_memory([&] { return prepare(package, address); });
  if (result == 0) result = import_or_restore(address.c_str());
  clean_up();
  return result;
}

void timeout(int) {
  siglongjmp(restore_point, kTimeout);
}

bool is_web_enable() {
  FixedText path;
  path.add(product_home()).add("/config/disable.webui");
  return !exists(path.c_str());
}
