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
  for (char const* name : {"/export/a.txt", "/export/sub/b.txt", "/secret"}) {
    folder.write(name, "[common]\n");
  }
  fs::create_symlink(home + "/secret", home + "/export/away.txt");
  fs::create_symlink("sub", home + "/export/linked");
  ASSERT_EQ(mkfifo((home + "/export/fifo").c_str(), 0600), 0);
  fs::create_symlink("export", home + "/entry");

  struct {
    char const* entry;
    char const* name;
    bool readable;
  } const cases[] = {
      {"/export", "a.txt", true},         {"/export", "/.//sub///b.txt", true},
      {"/entry", "a.txt", true},  // where the folder itself lies is not the package's doing
      {"/export", "missing.txt", false},  {"/export", "away.txt", false},
      {"/export", "linked/b.txt", false}, {"/export", "fifo", false},
      {"/export", "sub", false},          {"/export", "", false},
      {"/export", "../secret", false},    {"/export", "sub/../a.txt", false},
  };
  for (auto const& [entry, name, readable] : cases) {
    bool const opened{zeva::open_export_file(home + entry, name)};
    EXPECT_EQ(opened, readable) << name << " below " << entry;
  }
}

}  // namespace
