#include "commands.h"

#include "descriptor.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <initializer_list>

using zeva::FixedText;
using zeva::run_shell;

namespace {

// The probe for a process with room for a name of 32 bytes. Cut, a longer one would find others.
constexpr size_t kProbeSize = 79;

// A relative path that begins with a dash would be taken for an option.
char const* option_guard(char const* path) {
  return path[0] == '-' ? "./" : "";
}

[[nodiscard]] int remove_tree(char const* path) {
  FixedText command;
  command.add("rm -rf '").add_quoted(path).add("' > /dev/null 2>&1");
  return run_shell(command);
}

// A name whose escaped form outgrows the command is given a short one first.
void remove_entry(int folder, char const* folder_path, char const* name) {
  FixedText path;
  path.add(folder_path).add("/").add(name);
  if (path.fits() && remove_tree(path.c_str()) != -1) return;

  FixedText<32> short_name;
  for (int number = 0; number < 1000; ++number) {
    short_name = FixedText<32>();
    short_name.add("long-name-").add(number);
    if (renameat2(folder, name, folder, short_name.c_str(), RENAME_NOREPLACE) == 0) break;
  }
  FixedText short_path;
  short_path.add(folder_path).add("/").add(short_name.c_str());
  (void)remove_tree(short_path.c_str());  // who empties the folder looks again
}

bool is_own(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 && status.st_uid == geteuid();
}

// Calls `visit` with the name of every entry. opendir would use the heap.
template <class Visit>
void for_each_entry(int folder, Visit visit) {
  alignas(dirent64) char entries[4096];
  ssize_t length;
  lseek(folder, 0, SEEK_SET);
  while ((length = getdents64(folder, entries, sizeof entries)) > 0) {
    for (ssize_t at = 0; at < length;) {
      auto entry = reinterpret_cast<dirent64*>(entries + at);
      at += entry->d_reclen;
      bool is_folder = strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0;
      if (!is_folder) visit(entry->d_name);
    }
  }
}

}  // namespace

int zeva::run_shell(char const* command) {
  int status = system(command);
  // While it waits, system() ignores the signals of the keyboard; the command has received them.
  for (int number : {SIGINT, SIGQUIT}) {
    if (status != -1 && WIFSIGNALED(status) && WTERMSIG(status) == number) raise(number);
  }
  return status;
}

bool copyfile(char const* source, char const* target) {
  if (source == nullptr || target == nullptr) return false;
  FixedText command;
  command.add("cp -pf '").add(option_guard(source)).add_quoted(source);
  command.add("' '").add(option_guard(target)).add_quoted(target).add("'");
  return run_shell(command) == 0;
}

bool delete_all_files_in_folder(char const* folder) {
  zeva::Descriptor const opened(open(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  int const fd = opened.get();
  if (!opened || !is_own(fd)) return false;
  for_each_entry(fd, [&](char const* name) { remove_entry(fd, folder, name); });
  bool emptied = true;
  for_each_entry(fd, [&](char const*) { emptied = false; });
  return emptied;
}

bool _find_process(char const* name) {
  if (name == nullptr) return false;
  FixedText<kProbeSize> command;
  command.add("ps -ef | grep ").add_word(name).add(" | grep -v grep > /dev/null 2>&1");
  return run_shell(command) == 0;
}
