#include "inifiles.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {

class Writer : public IniFiles {};

TEST_F(Writer, KeepsTheLayoutAndBothFiles) {
  std::string const text =
      "#top\n\n[a]\n#named like its section\na=b=c\n\n# two\n#lines\nk=\n\n[b]\n";
  NvConfigFile file(make("x", text + "\n#dropped\n"));
  ASSERT_EQ(file.readfile(), 0);
  ASSERT_EQ(file.writefile(), 0);
  for (char const* name : {"x", "x.bak"}) EXPECT_EQ(folder_.read(name), text + "\n#dropped\n");
  EXPECT_EQ(folder_.read("x.gen"), text);
  EXPECT_EQ(file.geterror(), "file " + path("x") + "is copied to file " + path("x.bak") +
                                 ".\ntry to write ini file to " + path("x.gen") + ".\n");
}

TEST_F(Writer, GivesTheExampleExportBackByteForByte) {
  auto const files = read_files(EXAMPLES);
  for (auto const& [name, text] : files) EXPECT_EQ(rewritten(text), text) << name;
  EXPECT_GT(files.size(), 10u);
}

TEST_F(Writer, SectionsWithoutAName) {
  std::pair<char const*, char const*> const cases[] = {
      {"", ""},
      {"#c\nk = v", "#c\nk=v\n"},
      {"[]\nk=v\n", "k=v\n"},
      {"#c\n[]\nk=v\n", "#c\n[]\nk=v\n"},
      {"[a]\nk=v\n[]\nl=w\n", "[a]\nk=v\n[]\nl=w\n"}};
  for (auto const& [text, expected] : cases) EXPECT_EQ(rewritten(text), expected);
}

TEST_F(Writer, TellsWhatItCouldNotCopyOrWrite) {
  NvConfigFile fresh(path("new"));
  fresh.setsection("a", {{"k", "v"}});
  EXPECT_EQ(fresh.writefile(), 0) << "there is nothing to copy";
  EXPECT_EQ(folder_.read("new.gen"), "[a]\nk=v\n");
  EXPECT_EQ(fresh.geterror(), "Unabel open read file: " + path("new") +
                                  "\ntry to write ini file to " + path("new.gen") + ".\n");

  NvConfigFile uncopied(make("x", "k=v\n"));
  std::filesystem::create_directory(path("x.bak"));
  EXPECT_EQ(uncopied.writefile(), -1);
  EXPECT_EQ(uncopied.geterror(), "Unabel open write file: " + path("x.bak") +
                                     "\ntry to write ini file to " + path("x.gen") + ".\n");
  EXPECT_EQ(folder_.read("x"), "k=v\n");

  NvConfigFile unwritten(make("y", "k=v\n"));
  ASSERT_EQ(mkfifo(path("y.gen").c_str(), 0600), 0);
  EXPECT_EQ(unwritten.writefile(), -1);
  EXPECT_TRUE(unwritten.geterror().ends_with("Unable open write file: " + path("y.gen") + "\n"));
}

TEST_F(Writer, CopiesEveryByteOrTellsWhyNot) {
  std::string bytes;
  for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(i * 7);
  std::string const source = make("source", bytes), target = make("target", bytes + "longer");
  NvConfigFile file;
  EXPECT_EQ(file.copyfile(source, target), 0);
  EXPECT_EQ(file.copyfile(folder_.path(), target), -1);
  EXPECT_EQ(file.copyfile(source, folder_.path()), -1);
  EXPECT_EQ(read_text(target), bytes);

  // A disk that fills up is a limit on the file's size here.
  rlimit before;
  getrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, SIG_IGN);
  rlimit const small{50000, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(file.copyfile(source, target), -1);
  NvConfigFile large(path("large"));
  large.setsection("a", {{"k", bytes}});
  EXPECT_EQ(large.writefile(), -1);
  setrlimit(RLIMIT_FSIZE, &before);
  EXPECT_FALSE(std::filesystem::exists(target)) << "half a copy";
  EXPECT_EQ(file.geterror(), "Unabel open read file: " + folder_.path() +
                                 "\nUnabel open write file: " + folder_.path() +
                                 "\nUnable to write file: " + target + "\n");
}

TEST_F(Writer, Dump) {
  NvConfigFile file("missing");
  EXPECT_EQ(file.readfile(), -1);
  file.setsection("a", {{"k", "v"}, {"l", ""}});
  testing::internal::CaptureStdout();
  file.print();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "NvConfigFile--print\nfilename:missing\nNvinifile size=1\nsection: a\n    key:k\n"
            "    value:v\n    key:l\n    value:\nError :Unable to open input file:missing\n");
}

}  // namespace
