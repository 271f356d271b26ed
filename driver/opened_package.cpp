#include "opened_package.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "commands.h"
#include "fixed_text.h"
#include "package_guard.h"
#include "package_key.h"
#include "runlog.h"

namespace {

volatile sig_atomic_t key_file_made = 0;

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

}  // namespace

int open_package(char const* package) {
  int result = copy_package(package);
  if (result == 0) result = make_unpack_folder();
  if (result == 0) result = decrypt_package();
  if (result == 0) result = unpack_package();
  if (result == 0) result = check_package();
  return result;
}

void remove_opened_package() {
  unlink(kPackageCopy);
  unlink(kKeyFile);
  delete_all_files_in_folder(kUnpackFolder);
}

void remove_key_file() {
  if (key_file_made != 0) unlink(kKeyFile);
  key_file_made = 0;
}
