#include "migrate.h"

#include <fcntl.h>
#include <setjmp.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <new>
#include <string>

#include "commands.h"
#include "importers.h"
#include "package_guard.h"
#include "package_key.h"
#include "product_home.h"
#include "regserver_control.h"
#include "runlog.h"

namespace {

constexpr char kPackageCopy[] = "/tmp/migrate_pkg";
constexpr char kUnpackFolder[] = "/tmp/migrate";
constexpr char kKeyFile[] = "/tmp/rc_key";
constexpr unsigned kWatchdogSeconds = 300;

struct PolicyFile {
  char const* path;    // below the home
  char const* backup;  // below the backup folder
  bool backed_up;      // by this run: copies of an earlier one are never put back
};

PolicyFile policy_files[] = {
    {"/config/cFlt_db.xml", "/cFlt_db.xml", false},
    {"/config/cFlt_db.xml.redo", "/cFlt_db.xml.redo", false},
    {"/config/cFlt_db.xml.bak", "/cFlt_db.xml.bak", false},
};

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
volatile sig_atomic_t key_file_made = 0;

bool exists(char const* path) {
  return access(path, F_OK) == 0;
}

FixedText<> below(char const* folder, char const* name) {
  FixedText path;
  path.add(folder).add(name);
  return path;
}

FixedText<> backup_folder() {
  return below(zeva::product_home(), "/config/backup");
}

// The copy is made closed before cp fills it, so that nobody else can put something in its place.
int copy_package(char const* package) {
  unlink(kPackageCopy);
  int fd = open(kPackageCopy, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd >= 0) close(fd);
  if (fd < 0 || !copyfile(package, kPackageCopy)) {
    LogDebugMessage("Error [%d]: backup package failed.", 233);
    return -4;
  }
  return 0;
}

// What stands at the unpack folder's place is used only if it is a folder of our own.
int make_unpack_folder() {
  struct stat status;
  bool ready;
  if (lstat(kUnpackFolder, &status) == 0) {
    ready = S_ISDIR(status.st_mode) && status.st_uid == geteuid();
    if (ready) delete_all_files_in_folder(kUnpackFolder);
  } else {
    ready = mkdir(kUnpackFolder, 0755) == 0;
  }
  if (!ready) {
    LogDebugMessage("Error [%d]: make temp dir failed.", 245);
    return -2;
  }
  return 0;
}

bool write_key_file() {
  key_file_made = 1;
  unlink(kKeyFile);
  int fd = open(kKeyFile, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  bool written = write(fd, kPackageKey.data(), kPackageKey.size()) == ssize_t{kPackageKey.size()};
  return close(fd) == 0 && written;
}

int decrypt_package() {
  LogDebugMessage("Decrypting package...");
  if (!write_key_file()) {
    LogDebugMessage("Erorr [%d]: flush key to %s failed.", 261, kKeyFile);
    return -3;
  }
  FixedText command;
  command.add("rc4 -dec -in ").add(kPackageCopy).add(" -key ").add(kKeyFile);
  command.add(" > /dev/null 2>&1");
  int status = run_command(command);
  remove_key_file();
  if (status != 0) {
    LogDebugMessage("Error [%d]: rc4 decrypt package failed (%d)", 277, status);
    return -3;
  }
  return 0;
}

// An archive that holds its own top folder gives that folder the owner and mode it had elsewhere.
void take_unpack_folder_back(int folder) {
  if (folder < 0) return;
  if (fchown(folder, geteuid(), getegid()) == 0) fchmod(folder, 0755);
  close(folder);
}

int unpack_package() {
  LogDebugMessage("Unpacking package...");
  FixedText command;
  command.add("tar zxvf ").add(kPackageCopy).add(" > /dev/null 2>&1");
  int folder = open(kUnpackFolder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  int status = chdir(kUnpackFolder) == 0 ? run_command(command) : -1;
  take_unpack_folder_back(folder);
  if (status != 0) {
    LogDebugMessage("Error [%d]: unpack package failed. (%s) (%d)", 289, command.c_str(), status);
    return -5;
  }
  return 0;
}

int check_package() {
  LogDebugMessage("Check MD5 of package...");
  FixedText command;
  command.add("md5sum -c ").add(kUnpackFolder).add("/md5.sum > /dev/null 2>&1");
  bool safe = chdir(kUnpackFolder) == 0 && checksum_list_is_safe(kUnpackFolder);
  int status = safe ? run_command(command) : -1;
  if (status != 0) {
    LogDebugMessage("Error [%d]: md5 check failed. (%s) (%d)", 301, command.c_str(), status);
    return -6;
  }
  return 0;
}

int make_regserver_run() {
  if (_find_process(kRegServerProcess)) return 0;
  LogDebugMessage("RegServer is not running, try to start regserver...");
  if (StartRegServer()) return 0;
  LogDebugMessage("Error [%d]: start regserver failed.", 0);
  return -7;
}

int make_backup_folder(FixedText<> const& folder) {
  struct stat status;
  bool ready =
      folder.fits() && (stat(folder.c_str(), &status) == 0 ? S_ISDIR(status.st_mode)
                                                           : mkdir(folder.c_str(), 0755) == 0);
  if (!ready) {
    LogDebugMessage("Error [%d]: make backup folder failed (%s).", 328, folder.c_str());
    return -16;
  }
  return 0;
}

int back_up_policy_files() {
  LogDebugMessage("Backup policy files...");
  auto folder = backup_folder();
  if (int result = make_backup_folder(folder); result != 0) return result;
  for (PolicyFile& file : policy_files) {
    auto source = below(zeva::product_home(), file.path);
    auto target = below(folder.c_str(), file.backup);
    file.backed_up = exists(source.c_str()) && source.fits() && target.fits() &&
                     copyfile(source.c_str(), target.c_str());
  }
  return 0;
}

void restore_policy_files() {
  alarm(0);
  LogDebugMessage("Restore backuped policy files...");
  auto folder = backup_folder();
  for (PolicyFile const& file : policy_files) {
    auto backup = below(folder.c_str(), file.backup);
    if (!file.backed_up || !exists(backup.c_str())) continue;
    copyfile(backup.c_str(), below(zeva::product_home(), file.path).c_str());
  }
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

int prepare(char const* package) {
  int result = copy_package(package);
  if (result == 0) result = make_unpack_folder();
  if (result == 0) result = decrypt_package();
  if (result == 0) result = unpack_package();
  if (result == 0) result = check_package();
  if (result == 0) result = make_regserver_run();
  return result;
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
    LogDebugMessage("Timeout, restore all configurations.");
    restore_policy_files();
    return -17;
  }

  alarm(kWatchdogSeconds);
  for (Importer const& importer : kImporters) {
    if (importer.progress != nullptr) LogDebugMessage("%s", importer.progress);
    int result = run_importer(importer, address);
    if (result != 0) {
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
  unlink(kPackageCopy);
  unlink(kKeyFile);
  delete_all_files_in_folder(kUnpackFolder);
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

  int result = prepare(package);
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

void remove_key_file() {
  if (key_file_made != 0) unlink(kKeyFile);
  key_file_made = 0;
}

bool is_web_enable() {
  return !exists(below(zeva::product_home(), "/config/disable.webui").c_str());
}
