// The door to the package's files: what it opens, and what it must not.
#include "export_file.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

TEST(ExportFile, OpensOnlyRegularFilesReachedWithoutDetour) {
  char scratch[] = "/tmp/zeva-export-XXXXXX";
  ASSERT_NE(mkdtemp(scratch), nullptr);
  std::string const home = scratch;
  fs::create_directories(home + "/export/sub/inner");
  for (char const* name : {"/export/a.txt", "/export/sub/b.txt", "/secret", "/exported"}) {
    std::ofstream(home + name) << "[common]\n";
  }
  fs::create_symlink(home + "/secret", home + "/export/away.txt");
  fs::create_symlink("sub", home + "/export/linked");
  ASSERT_EQ(mkfifo((home + "/export/fifo").c_str(), 0600), 0);
  fs::create_symlink("export", home + "/entry");

  struct {
    char const* folder;
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
  for (auto const& [folder, path, readable] : cases) {
    int const file = zeva::open_export_file(home + folder, home + path);
    EXPECT_EQ(file >= 0, readable) << path << " below " << folder;
    if (file >= 0) close(file);
  }
  fs::remove_all(home);
}

}  // namespace
