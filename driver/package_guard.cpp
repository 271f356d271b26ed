#include "package_guard.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "export_file.h"
#include "files.h"

namespace {

// The path with every link followed; with `keep_last`, the last component is not followed.
std::string real_path(std::string path, bool keep_last) {
  std::string last;
  if (keep_last) {
    size_t slash = path.rfind('/');
    last = "/" + (slash == std::string::npos ? path : path.substr(slash + 1));
    path = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  }
  char resolved[PATH_MAX];
  if (realpath(path.c_str(), resolved) == nullptr) return "";
  std::string folder = resolved;
  return folder == "/" ? last : folder + last;
}

constexpr size_t kSumDigits = 32;

// What is missing may be read: md5sum will say that it is not there. "-" would be the standard
// input.
bool may_be_read(std::string const& folder, std::string const& name) {
  if (name == "-" || name.starts_with('/') || ('/' + name + '/').find("/../") != std::string::npos)
    return false;
  std::string path = folder + "/" + name;
  int fd = zeva::open_export_file(folder, path);
  if (fd >= 0) close(fd);
  struct stat status;
  return fd >= 0 || (lstat(path.c_str(), &status) != 0 && errno == ENOENT);
}

// A name with a line break or a backslash is escaped, and its line then opens with a backslash.
std::string unescape(std::string const& name) {
  std::string plain;
  for (size_t i = 0; i < name.size(); ++i) {
    if (name[i] != '\\' || i + 1 == name.size()) {
      plain += name[i];
      continue;
    }
    char code = name[++i];
    plain += code == 'n' ? '\n' : code == 'r' ? '\r' : code;
  }
  return plain;
}

// The files that md5sum may take a line of a checksum list to name: "SUM  NAME", "SUM *NAME" or
// "MD5 (NAME) = SUM". What stands before NAME belongs to it once a line has named its file with a
// single blank. None when md5sum would not take the line.
std::vector<std::string> listed_names(std::string const& line) {
  size_t at = line.find_first_not_of(" \t");
  if (at == std::string::npos) return {};
  bool escaped = line[at] == '\\';
  if (escaped) ++at;

  std::string name;
  if (line.compare(at, 3, "MD5") == 0) {
    size_t open = line.find('(', at);
    size_t close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) return {};
    name = line.substr(open + 1, close - open - 1);
  } else {
    size_t end = line.find_first_not_of("0123456789abcdefABCDEF", at);
    if (end != at + kSumDigits || (line[end] != ' ' && line[end] != '\t')) return {};
    name = line.substr(end + 1);
  }
  if (escaped) name = unescape(name);
  bool marked = name.starts_with(' ') || name.starts_with('*');
  return {name, marked ? name.substr(1) : name};
}

}  // namespace

bool stands_in_the_way(char const* package, char const* working_copy, char const* key_file,
                       char const* unpack_folder) {
  std::string below = real_path(unpack_folder, true) + "/";
  for (bool keep_last : {false, true}) {
    std::string path = real_path(package, keep_last);
    if (path == real_path(working_copy, true) || path == real_path(key_file, true) ||
        path.starts_with(below)) {
      return true;
    }
  }
  return false;
}

bool checksum_list_is_safe(char const* folder) {
  std::string path = std::string(folder) + "/md5.sum";
  int fd = zeva::open_export_file(folder, path);
  if (fd < 0) return may_be_read(folder, "md5.sum");
  std::string text;
  bool read = zeva::read_regular(fd, text) == 0;
  close(fd);
  if (!read) return false;

  std::istringstream list(text);
  for (std::string line; std::getline(list, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();  // as md5sum does
    for (std::string const& name : listed_names(line)) {
      if (!may_be_read(folder, name)) return false;
    }
  }
  return true;
}
