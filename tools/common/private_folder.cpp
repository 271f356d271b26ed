#include "private_folder.h"

#include "descriptor.h"

#include <errno.h>
#include <fcntl.h>
#include <fts.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {
namespace {

constexpr int kShallow = 64;  // levels; fts ends at a path of 65535 bytes, 255 to a name

// Removes what is not deep in the tree and moves what is to its top. Whether there was any to move:
// it is for the next round.
bool remove_shallow(char* path, Descriptor const& top, int& moved) {
  char* const paths[] = {path, nullptr};
  FTS* const tree = fts_open(paths, FTS_PHYSICAL, nullptr);
  if (tree == nullptr) return false;
  int const before = moved;
  while (FTSENT* const entry = fts_read(tree)) {
    char const* const name = entry->fts_accpath;
    if (entry->fts_info == FTS_D) {
      chmod(name, 0700);
      std::string const above = ".deep-" + std::to_string(moved);
      if (entry->fts_level > kShallow && renameat(AT_FDCWD, name, top.get(), above.c_str()) == 0) {
        ++moved;
        fts_set(tree, entry, FTS_SKIP);
      }
    } else if (entry->fts_info == FTS_DP) {
      rmdir(name);
    } else {
      unlink(name);
    }
  }
  fts_close(tree);
  return moved > before;
}

}  // namespace

// What an archive has made may be deeper than a path is long, and than fts goes, and closed to its
// own owner.
void remove_tree(std::string path) {
  Descriptor const top(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  int moved = 0;
  while (remove_shallow(path.data(), top, moved)) {
  }
}

PrivateFolder::PrivateFolder(std::string const& parent) : path_(parent + "/.zeva-XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) {
    error_ = strerror(errno);
    path_.clear();
  }
}

PrivateFolder::~PrivateFolder() {
  if (!path_.empty()) remove_tree(path_);
}

}  // namespace zeva
