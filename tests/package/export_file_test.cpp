// The door to the package's files: what it opens, and what it must not.
#include "export_file.h"

#include "scratch_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

TEST(ExportFile, OpensOnlyRegularFilesReachedWithoutDetour) {
  ScratchFolder const folder;
  std::string const& home = folder.path();
  fs::create_directories(home + "/export/sub/inner");
  for (char const* name : {"/export/a.txt", "/export/sub/b.txt", "/secret", "/exported"}) {
    folder.write(name, "[common]\n");
  }
  fs::create_symlink(home + "/secret", home + "/export/away.txt");
  fs::create_symlink("sub", home + "/export/linked");
  ASSERT_EQ(mkfifo((home + "/export/fifo").c_str(), 0600), 0);
  fs::create_symlink("export", home + "/entry");

  struct {
    char const* entry;
    char const* path;
    bool readable;
  } const cases[] = {
      {"/export", "/export/a.txt", true},
      {"/export", "/export//./sub///b.txt", true},
      {"/entry", "/entry/a.txt", true},  // where the folder itself lies is not the package's doing
      {"/export", "/export/missing.txt", false},
      {"/export", "/export/away.txt", false},
      {"/export", "/export/linked/b.txt", false},
      {"/export", "/export/fifo", false},
      {"/export", "/export/sub", false},
      {"/export", "/export", false},
      {"/export", "/export/../secret", false},
      {"/export", "/export/sub/../a.txt", false},
      {"/export", "/exported", false},
  };
  for (auto const& [entry, path, readable] : cases) {
    int const file = zeva::open_export_file(home + entry, home + path);
    EXPECT_EQ(file >= 0, readable) << path << " below " << entry;
    if (file >= 0) close(file);
  }
}

}  // namespace
