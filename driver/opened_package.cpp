#include "opened_package.h"

#include "commands.h"
#include "descriptor.h"
#include "fixed_text.h"
#include "package_guard.h"
#include "package_key.h"
#include "package_names.h"
#include "results.h"
#include "runlog.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <string>

namespace zeva {
namespace {

volatile sig_atomic_t key_file_made = 0;

// The name of the copy while it is no working copy yet, where a signal handler can reach it.
constexpr char kUnfinishedCopy[] = "/tmp/migrate_pkg-XXXXXX";
char unfinished_copy[sizeof kUnfinishedCopy];

// What a command makes is for this user alone, and tar gives nothing the owner or the mode that the
// archive names for it, whatever options the run was started with.
class ClosedUnpacking {
 public:
  ClosedUnpacking() {
    char const* options = getenv("TAR_OPTIONS");
    if (options != nullptr) usual_options_ = options;
    closed_ = setenv("TAR_OPTIONS", "--no-same-owner --no-same-permissions", 1) == 0;
    usual_umask = static_cast<int>(umask(077));
  }
  ~ClosedUnpacking() {
    restore_umask();
    if (usual_options_) {
      setenv("TAR_OPTIONS", usual_options_->c_str(), 1);
    } else {
      unsetenv("TAR_OPTIONS");
    }
  }
  ClosedUnpacking(ClosedUnpacking const&) = delete;
  ClosedUnpacking& operator=(ClosedUnpacking const&) = delete;

  explicit operator bool() const { return closed_; }

  static void restore_umask() {
    if (usual_umask >= 0) umask(static_cast<mode_t>(usual_umask));
    usual_umask = -1;
  }

 private:
  static inline volatile sig_atomic_t usual_umask = -1;  // -1 when it holds

  std::optional<std::string> usual_options_;
  bool closed_;
};

bool copy_bytes(int source, int target, off_t size) {
  char buffer[64 * 1024];
  // Not beyond the size: its owner may go on writing to it.
  while (size > 0) {
    size_t wanted = static_cast<size_t>(std::min<off_t>(size, sizeof buffer));
    ssize_t length = read(source, buffer, wanted);
    if (length <= 0 || write(target, buffer, static_cast<size_t>(length)) != length) return false;
    size -= length;
  }
  return true;
}

bool copy_into_own_file(int source, off_t size) {
  memcpy(unfinished_copy, kUnfinishedCopy, sizeof kUnfinishedCopy);
  Descriptor target(mkostemp(unfinished_copy, O_CLOEXEC));
  bool copied = target && copy_bytes(source, target.get(), size);
  if (target) {
    copied = close(target.release()) == 0 && copied && rename(unfinished_copy, kPackageCopy) == 0;
    if (!copied) unlink(unfinished_copy);
  }
  unfinished_copy[0] = '\0';
  return copied;
}

// cp gives the copy the owner of the package, who may then change it or put something else in its
// place. Its bytes go on in a file that nobody else has ever been able to open.
bool take_copy_over() {
  Descriptor const source(
      open(kPackageCopy, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status;
  return source && fstat(source.get(), &status) == 0 && S_ISREG(status.st_mode) &&
         copy_into_own_file(source.get(), status.st_size);
}

// The copy is made closed before cp fills it, so that nobody else can put something in its place.
int copy_package(char const* package) {
  unlink(kPackageCopy);
  bool const made =
      !!Descriptor(open(kPackageCopy, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!made || !copyfile(package, kPackageCopy) || !take_copy_over()) {
    LogDebugMessage("Error [%d]: backup package failed.", 233);
    return kNotCopied;
  }
  return 0;
}

// What stands at the unpack folder's place is used only if it is a folder of our own. From here on
// until it is emptied nobody else may enter it: the export holds passwords, and what an archive
// brings along may be made to be run by others.
int make_unpack_folder() {
  mkdir(kUnpackFolder, 0755);
  struct stat status;
  bool ready = lstat(kUnpackFolder, &status) == 0 && S_ISDIR(status.st_mode) &&
               status.st_uid == geteuid() && chmod(kUnpackFolder, 0700) == 0;
  if (!ready) {
    LogDebugMessage("Error [%d]: make temp dir failed.", 245);
    return kNoUnpackFolder;
  }
  // What cannot be removed stays; tar tells when it is in the way.
  (void)delete_all_files_in_folder(kUnpackFolder);
  return 0;
}

bool write_key_file() {
  key_file_made = 1;
  unlink(kKeyFile);
  Descriptor file(open(kKeyFile, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return false;
  bool const written =
      write(file.get(), kPackageKey.data(), kPackageKey.size()) == ssize_t{kPackageKey.size()};
  return close(file.release()) == 0 && written;
}

void remove_key_file() {
  if (key_file_made != 0) unlink(kKeyFile);
  key_file_made = 0;
}

int decrypt_package() {
  LogDebugMessage("Decrypting package...");
  if (!write_key_file()) {
    LogDebugMessage("Erorr [%d]: flush key to %s failed.", 261, kKeyFile);
    return kNotDecrypted;
  }
  FixedText command;
  command.add(kDecipherCommand).add(" -dec -in ").add(kPackageCopy).add(" -key ").add(kKeyFile);
  command.add(" > /dev/null 2>&1");
  int status = run_shell(command);
  remove_key_file();
  if (status != 0) {
    LogDebugMessage("Error [%d]: rc4 decrypt package failed (%d)", 277, status);
    return kNotDecrypted;
  }
  return 0;
}

// An archive that holds its own top folder would give that folder the owner and mode it had
// elsewhere, were tar to follow it.
void take_unpack_folder_back(Descriptor const& folder) {
  if (folder && fchown(folder.get(), geteuid(), getegid()) == 0) fchmod(folder.get(), 0700);
}

int run_unpacking(FixedText<> const& command) {
  ClosedUnpacking closed;
  return closed && chdir(kUnpackFolder) == 0 ? run_shell(command) : -1;
}

int unpack_package() {
  LogDebugMessage("Unpacking package...");
  FixedText command;
  command.add("tar zxvf ").add(kPackageCopy).add(" > /dev/null 2>&1");
  Descriptor const folder(open(kUnpackFolder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  int status = run_unpacking(command);
  take_unpack_folder_back(folder);
  if (status != 0) {
    LogDebugMessage("Error [%d]: unpack package failed. (%s) (%d)", 289, command.c_str(), status);
    return kNotUnpacked;
  }
  return 0;
}

int check_package() {
  LogDebugMessage("Check MD5 of package...");
  FixedText command;
  command.add("md5sum -c ").add(kUnpackFolder).add("/").add(kChecksumFile);
  command.add(" > /dev/null 2>&1");
  bool safe = chdir(kUnpackFolder) == 0 && checksum_list_is_safe(kUnpackFolder);
  int status = safe ? run_shell(command) : -1;
  if (status != 0) {
    LogDebugMessage("Error [%d]: md5 check failed. (%s) (%d)", 301, command.c_str(), status);
    return kChecksumsDoNotHold;
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
  if (delete_all_files_in_folder(kUnpackFolder)) chmod(kUnpackFolder, 0755);
}

void abandon_package() {
  ClosedUnpacking::restore_umask();
  if (unfinished_copy[0] != '\0') unlink(unfinished_copy);
  remove_key_file();
}

}  // namespace zeva
