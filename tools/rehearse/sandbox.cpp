#include "sandbox.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tool.h"

namespace zeva {
namespace {

constexpr char kSubject[] = "ZEVA_REHEARSAL";  // environment variable

// What the tool can do as root and needs for a package's files; another user has nothing to keep.
constexpr char const* kCapabilities[] = {"CAP_CHOWN",  "CAP_DAC_OVERRIDE", "CAP_FOWNER",
                                         "CAP_FSETID", "CAP_KILL",         "CAP_MKNOD"};

constexpr char const* kInstalled[] = {"/bin", "/lib", "/config/zevautilerr", "/config/factory.xml"};

std::vector<std::string> options(std::string const& installation,
                                 std::vector<std::string> const& visible,
                                 std::string const& subject) {
  std::vector<std::string> all{"--die-with-parent",
                               "--new-session",
                               "--unshare-pid",
                               "--unshare-net",
                               "--unshare-ipc",
                               "--ro-bind",
                               "/",
                               "/",
                               "--dev",
                               "/dev",
                               "--proc",
                               "/proc",
                               "--tmpfs",
                               "/tmp",
                               "--tmpfs",
                               "/run",
                               "--chdir",
                               "/"};
  auto const add = [&](std::initializer_list<std::string> more) {
    all.insert(all.end(), more.begin(), more.end());
  };
  for (std::string const& path : visible) add({"--ro-bind", path, path});
  for (std::string const path : kInstalled) {
    add({"--ro-bind", installation + path, kScratchHome + path});
  }
  if (geteuid() == 0) {
    for (char const* capability : kCapabilities) add({"--cap-add", capability});
  }
  add({"--setenv", "ZEVA_HOME", kScratchHome, "--setenv", kSubject, subject});
  return all;
}

// bwrap gets its options from a file, again because of the process list.
int option_file(std::vector<std::string> const& options) {
  std::string bytes;
  for (std::string const& option : options) bytes += option + '\0';
  int const fd = memfd_create("options", 0);
  if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()) ||
      lseek(fd, 0, SEEK_SET) != 0) {
    return -1;
  }
  return fd;
}

}  // namespace

std::optional<std::string> sandboxed_subject() {
  char const* const subject = getenv(kSubject);
  // Anybody can set a variable, but only the sandbox has this program there.
  bool const here = own_folder() == std::string(kScratchHome) + "/bin";
  return subject != nullptr && here ? std::optional<std::string>(subject) : std::nullopt;
}

void enter_sandbox(std::string const& installation, std::vector<std::string> const& visible,
                   std::string const& subject, std::vector<std::string> const& arguments) {
  int const fd = option_file(options(installation, visible, subject));
  if (fd < 0) return;
  std::vector<std::string> line{"bwrap", "--args", std::to_string(fd), "--",
                                std::string(kScratchHome) + "/bin/zeva-rehearse"};
  line.insert(line.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(line.size() + 1);
  for (std::string& argument : line) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  execvp(pointers[0], pointers.data());
}

}  // namespace zeva
