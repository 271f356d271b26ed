#include "policy_backup.h"

#include <sys/stat.h>
#include <unistd.h>

#include "commands.h"
#include "fixed_text.h"
#include "product_home.h"
#include "runlog.h"

namespace {

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

}  // namespace

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
  LogDebugMessage("Restore backuped policy files...");
  auto folder = backup_folder();
  for (PolicyFile const& file : policy_files) {
    auto backup = below(folder.c_str(), file.backup);
    if (!file.backed_up || !exists(backup.c_str())) continue;
    copyfile(backup.c_str(), below(zeva::product_home(), file.path).c_str());
  }
}
