#include "private_folder.h"

#include <errno.h>
#include <fts.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zeva {
namespace {

// What an archive has made may be deeper than a path is long, and closed to its own owner.
void remove_tree(char* path) {
  char* const paths[] = {path, nullptr};
  FTS* const tree = fts_open(paths, FTS_PHYSICAL, nullptr);
  if (tree == nullptr) return;
  while (FTSENT const* entry = fts_read(tree)) {
    if (entry->fts_info == FTS_D) {
      chmod(entry->fts_accpath, 0700);
    } else if (entry->fts_info == FTS_DP) {
      rmdir(entry->fts_accpath);
    } else {
      unlink(entry->fts_accpath);
    }
  }
  fts_close(tree);
}

}  // namespace

PrivateFolder::PrivateFolder(std::string const& parent) : path_(parent + "/.zeva-XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) {
    error_ = strerror(errno);
    path_.clear();
  }
}

PrivateFolder::~PrivateFolder() {
  if (!path_.empty()) remove_tree(path_.data());
}

}  // namespace zeva
