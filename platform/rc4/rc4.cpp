// rc4: enciphers or deciphers a file in place.
//
// The file is replaced as a whole: the result is written beside it, synced and renamed over it, so
// that whatever ends the command leaves either the old content or the new. Exit status: 0 done,
// 1 the file or key cannot be used, 2 wrong command line.

#include "files.h"

#include <nettle/arcfour.h>

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>

namespace {

constexpr size_t kMinKey = 1;
constexpr size_t kMaxKey = 256;  // ARCFOUR's own bounds, in bytes

// The unfinished result's path while it exists, where a signal handler can reach it.
char unfinished[PATH_MAX];

void remove_unfinished() {
  if (unfinished[0] != '\0') unlink(unfinished);
}

[[noreturn]] void fail(std::string_view path, std::string_view why) {
  fprintf(stderr, "rc4: %.*s: %.*s\n", static_cast<int>(path.size()), path.data(),
          static_cast<int>(why.size()), why.data());
  remove_unfinished();
  exit(1);
}

[[noreturn]] void fail_errno(std::string_view path, std::string_view what, int error = errno) {
  fail(path, std::string(what) + ": " + strerror(error));
}

void on_signal(int number) {
  remove_unfinished();
  signal(number, SIG_DFL);
  raise(number);
}

// A signal that the caller had ignored stays ignored.
void clean_up_on_signals() {
  for (int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXFSZ}) {
    if (signal(number, on_signal) == SIG_IGN) signal(number, SIG_IGN);
  }
}

struct CommandLine {
  bool wanted = false;  // -enc or -dec was there; the cipher is its own inverse
  char const* file = nullptr;
  char const* key_file = nullptr;
};

bool parse(int argc, char** argv, CommandLine& line) {
  for (int i = 1; i < argc; ++i) {
    std::string_view const option = argv[i];
    if (option == "-enc" || option == "-dec") {
      if (line.wanted) return false;
      line.wanted = true;
      continue;
    }
    if (option != "-in" && option != "-key") return false;
    char const*& target = option == "-in" ? line.file : line.key_file;
    if (target != nullptr || ++i == argc) return false;
    target = argv[i];
  }
  return line.wanted && line.file != nullptr && line.key_file != nullptr;
}

// The next bytes of a file, 0 at its end.
size_t read_some(int fd, char const* path, unsigned char* buffer, size_t size) {
  ssize_t got;
  do got = read(fd, buffer, size);
  while (got < 0 && errno == EINTR);
  if (got < 0) fail_errno(path, "cannot be read");
  return static_cast<size_t>(got);
}

// The descriptor is what is judged, so nothing can be put in the file's place in between. Without
// O_NONBLOCK a FIFO would keep the command waiting for a writer.
zeva::Descriptor open_regular(char const* path, int flags, struct stat& info) {
  zeva::Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | flags));
  if (!file && errno == ELOOP) fail(path, "is a symbolic link; name the file itself");
  if (!file) fail_errno(path, "cannot be opened");
  if (fstat(file.get(), &info) != 0) fail_errno(path, "cannot be examined");
  if (!S_ISREG(info.st_mode)) fail(path, "is not a regular file");
  return file;
}

void read_key(char const* path, arcfour_ctx& cipher, struct stat& info) {
  zeva::Descriptor const file = open_regular(path, 0, info);
  std::string key;
  int const error = zeva::read_regular(file.get(), key, kMaxKey);
  if (error == EFBIG) fail(path, "the key is longer than 256 bytes");
  if (error != 0) fail_errno(path, "cannot be read", error);
  if (key.size() < kMinKey) fail(path, "the key is empty; it takes 1 to 256 bytes");
  arcfour_set_key(&cipher, key.size(), reinterpret_cast<unsigned char const*>(key.data()));
}

// With its slash.
std::string folder_of(std::string_view path) {
  size_t const slash = path.rfind('/');
  return slash == std::string_view::npos ? "./" : std::string(path.substr(0, slash + 1));
}

zeva::Descriptor make_unfinished(char const* path, struct stat const& like) {
  std::string const name = folder_of(path) + ".rc4-XXXXXX";
  if (name.size() >= sizeof unfinished) fail(path, "the path is too long");
  memcpy(unfinished, name.c_str(), name.size() + 1);
  zeva::Descriptor file(mkostemp(unfinished, O_CLOEXEC));
  if (!file) {
    unfinished[0] = '\0';
    fail_errno(path, "cannot make the new file beside it");
  }
  // In this order: changing the owner would clear a set-user-id bit.
  if (fchown(file.get(), like.st_uid, like.st_gid) != 0) fail_errno(path, "cannot keep its owner");
  if (fchmod(file.get(), like.st_mode & 07777) != 0) fail_errno(path, "cannot keep its mode");
  return file;
}

void convert(char const* path, arcfour_ctx& cipher, struct stat const& key) {
  struct stat info;
  zeva::Descriptor const source = open_regular(path, O_NOFOLLOW, info);
  // Nothing could ever decipher it again.
  if (info.st_dev == key.st_dev && info.st_ino == key.st_ino) fail(path, "is the key itself");
  zeva::Descriptor const target = make_unfinished(path, info);

  static unsigned char buffer[64 * 1024];
  while (size_t const length = read_some(source.get(), path, buffer, sizeof buffer)) {
    arcfour_crypt(&cipher, length, buffer, buffer);
    int const error =
        zeva::write_all(target.get(), {reinterpret_cast<char const*>(buffer), length});
    if (error != 0) fail_errno(path, "the new content cannot be written", error);
  }

  if (fsync(target.get()) != 0) fail_errno(path, "the new content cannot be written");
  if (rename(unfinished, path) != 0) fail_errno(path, "cannot be replaced");
  unfinished[0] = '\0';
  // A folder that may not be read cannot be synced; the file itself is on the disk already.
  (void)zeva::sync_folder(folder_of(path));
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine line;
  if (!parse(argc, argv, line)) {
    fputs("usage: rc4 -enc|-dec -in FILE -key KEYFILE\n", stderr);
    return 2;
  }
  clean_up_on_signals();
  arcfour_ctx cipher;
  struct stat key;
  read_key(line.key_file, cipher, key);
  convert(line.file, cipher, key);
  return 0;
}
