#include "inireader.h"

#include "files.h"
#include "inifiles.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <new>

using namespace std::string_literals;

namespace {
size_t held, most_held;  // bytes of the heap
}
size_t failing_allocation;  // counts down to the one that there is no memory for

void* operator new(size_t size) {
  void* const block = --failing_allocation == 0 ? nullptr : malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  most_held = std::max(most_held, held += malloc_usable_size(block));
  return block;
}
void operator delete(void* block) noexcept {
  held -= malloc_usable_size(block);
  free(block);
}
void operator delete(void* block, size_t) noexcept {
  operator delete(block);
}

namespace {

std::string read(std::string text) {
  NvConfigFile file;
  zeva::read_ini(std::move(text), file);
  return shown(file);
}

TEST(IniReader, Grammar) {
  std::pair<std::string, std::string> const cases[] = {
      // Headers.
      {"", "[]\n"},
      {" \t[\ta \t b\t ]rest = 1\nk=v\n", "[a \t b]\nk=v|\n"},
      {"[a  \nk=v\n", "[a]\nk=v|\n"},
      {"[", "[]\n"},
      {"[a\0k=v\n"s, "[a]\nk=v|\n"},
      {"[a]\0k=v\nl=w"s, "[a]\nl=w|\n"},
      // Keys and values.
      {"[s]\nmy\tkey = b = #c\n", "[s]\nmykey=b = #c|\n"},
      {"a=1  \nb=2 \t  \nc=\t 3\r\n", "[]\na=1|\nb=2 \t|\nc=3\r|\n"},
      {"no equals  \nnext=1\n", "[]\nnoequals=|\nnext=1|\n"},
      {"=v\n = w\n", "[]\n=w|\n"},
      {"a=1\nb=2\na=3\n", "[]\na=3|\nb=2|\n"},
      // A NUL ends a key line, and the file when it stands first in a line.
      {"a=1\0b=2\n\0c=3\n"s, "[]\na=1|\nb=2|\n"},
      {"a=1\0\nb=2\n"s, "[]\na=1|\n\nb=2|\n"},
      {" \0b=2\n"s, "[]\n=|\nb=2|\n"},
      {"\0a=1\n"s, "[]\n"},
      // Sections of one name, or of none.
      {"[a]\nx=1\n[b]\n[a]\ny=2\n", "[a]\ny=2|\n[b]\n"},
      {"x=1\n[a]\ny=2\n[b]\n", "[a]\nx=1|\ny=2|\n[b]\n"},
      {"[a]\n[]\nx=1\n[b]\ny=2\n", "[a]\n[b]\nx=1|\ny=2|\n"},
      // Comment lines belong to what follows; those at the end to nothing.
      {";note\nk=v\n", "[]\n#note\nk=v|\n"},
      {"#top\n\n \t\n[a]\n  ; two  \n#\nk=v\n#end\n", "#top\n\n\n[a]\n# two  \n#\nk=v|\n"},
      {"#x\0y\nk=v\n"s, "[]\n#x\0y\nk=v|\n"s},
      {"[a]\n#1\nk=v\n[b]\n#2\nk=v\n#lost", "[a]\n#1\nk=v|\n[b]\n#2\nk=v|\n"},
      {"#1\n[]\n#2\n[a]\n", "#1\n#2\n[a]\n"},
      {"#1\na=1\n#2\n[a]\n", "#2\n[a]\n#1\na=1|\n"},
      {"#1\na=1\n  #2\n \n\t;3\n a = 2 \n", "[]\n#1\n#2\n\n#3\na=2|\n"},
      {"#1\n[a]\nx=1\n#2\n[a]\n#3\nx=2\n", "#2\n[a]\n#3\nx=2|\n"},
  };
  for (auto const& [text, expected] : cases) EXPECT_EQ(read(text), expected) << text;
}

// Each would take many minutes if some character cost more than a constant.
TEST(IniReader, OddTextsOfManyMegabytes) {
  size_t const size = 8 << 20;
  std::string nuls;
  for (size_t i = 0; i <= size / 2; ++i) nuls += "a\0"s;  // one behind the last batch
  EXPECT_EQ(read(nuls), "[]\na=|\n");
  std::string const line(size, 'x');
  EXPECT_EQ(read("k=" + line), "[]\nk=" + line + "|\n");
  EXPECT_EQ(read(std::string(size, '[')).size(), size + 2);
  EXPECT_EQ(read(std::string(size, ' ')), "[]\n");
  EXPECT_EQ(read(std::string(size, '\n') + "k=v").size(), size + 8);
  std::string comments;
  for (size_t i = 0; i < size / 8; ++i) comments += "#\n[]\n#\n=\n";
  EXPECT_EQ(read(comments).size(), size / 2 + 6);
}

// As much memory as the names that differ need, however often they stand there.
TEST(IniReader, RepeatedNamesCostAsMuchAsOne) {
  std::string text, expected = "[s]\n";
  std::string const value = std::string(40, 'v');
  for (int i = 0; i < 400000; ++i) {
    if (i == 100000) text += "[s]\n";
    text += "k" + std::to_string(i % 100) + "=" + value + std::to_string(i) + "\n";
  }
  for (int i = 0; i < 100; ++i)
    expected += "k" + std::to_string(i) + "=" + value + std::to_string(399900 + i) + "|\n";
  size_t const before = most_held = held;
  EXPECT_EQ(read(std::move(text)), expected);
  EXPECT_LT(most_held - before, size_t{8} << 20);
}

class ReadFile : public IniFiles {};

TEST_F(ReadFile, WhatIsCopiedOutOutlivesTheFile) {
  std::string const text = "#1\n[s]\n#2\nk=v\n[t]\nl=w\n", shows = "#1\n[s]\n#2\nk=v|\n[t]\nl=w|\n";
  auto file = std::make_unique<NvConfigFile>(make("x", text));
  ASSERT_EQ(file->readfile(), 0);
  NvConfigFile const copy = *file;
  Nvinielement section, changed;
  std::vector<Nvkeypair> list;
  EXPECT_EQ(file->getelements("s", section), 0);
  EXPECT_EQ(file->getsection("t", list), 0);

  // To the file itself, what its own texts say; and the file read again.
  Nvkeypair const& pair = file->find("t")->getattributes()[0];
  EXPECT_EQ(file->setattribute("t", pair.name, pair.name), 0);
  EXPECT_EQ(file->setattribute("s", pair.value, pair.name), 0);
  *file = *std::as_const(file);
  EXPECT_EQ(file->getelements("s", changed), 0);
  NvConfigFile const moved = std::move(*file);
  EXPECT_EQ(shown(*file), "");  // NOLINT(bugprone-use-after-move): can be used for another file
  file->setname(make("y", "[u]\nm=x\n"));
  ASSERT_EQ(file->readfile(), 0);
  file->setelements(*moved.find("t"));
  EXPECT_EQ(shown(*file), "[u]\nm=x|\n[t]\nl=l|\n");
  file.reset();

  EXPECT_EQ(shown(copy), shows);
  EXPECT_EQ(list, (std::vector<Nvkeypair>{{"l", "w"}}));
  EXPECT_EQ(section.getkeycomment("k"), "#2\n");
  EXPECT_EQ(section.getattributes(), copy.find("s")->getattributes());
  EXPECT_EQ(changed.getattributes(), (std::vector<Nvkeypair>{{"k", "v"}, {"l", "l"}}));
  EXPECT_EQ(shown(moved), "#1\n[s]\n#2\nk=v|\nl=l|\n[t]\nl=l|\n");
}

TEST_F(ReadFile, WhatIsNotARegularFileIsRefusedWithoutWaiting) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink("loop", path("loop").c_str()), 0);
  for (std::string const& name : {path("missing"), path("pipe"), path("loop"), folder_.path(),
                                  "/dev/zero"s, path("missing/below"), ""s}) {
    NvConfigFile file(name);
    file.setelements({});
    EXPECT_EQ(file.readfile(), -1);
    EXPECT_EQ(file.geterror(), "Unable to open input file:" + name + "\n");
    EXPECT_EQ(shown(file), "[]\n");
  }
}

TEST_F(ReadFile, ReadsByNameAndByDescriptorAndAgain) {
  NvConfigFile file(make("a", "[a]\nk=1\n"));
  int const fd = open(path("a").c_str(), O_RDONLY);
  file.setname(make("b", "[b]\nk=2\n"));
  ASSERT_EQ(file.readfile(), 0);
  EXPECT_EQ(shown(file), "[b]\nk=2|\n");
  EXPECT_EQ(file.readfile(fd), 0);
  EXPECT_EQ(close(fd), 0);
  EXPECT_EQ(shown(file), "[a]\nk=1|\n");
  EXPECT_EQ(file.readfile(-1), -1);
  EXPECT_EQ(file.geterror(), "Unable to open input file:" + path("b") + "\n");
  EXPECT_EQ(NvConfigFile("/proc/self/status").readfile(), 0) << "its size is announced as 0";
}

TEST_F(ReadFile, TakesMemoryForWhatItReadsOfAFileOfAtMostTheLargestSize) {
  NvConfigFile file(make("x", "k=v\n"));
  std::filesystem::resize_file(path("x"), zeva::kLargestFile + 1);
  EXPECT_EQ(file.readfile(), -1);
  std::filesystem::resize_file(path("x"), zeva::kLargestFile);
  int const fd = open(path("x").c_str(), O_RDONLY);
  ASSERT_GT(lseek(fd, -100, SEEK_END), 0);
  auto touched = [] {
    size_t size, resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * static_cast<size_t>(getpagesize());
  };
  size_t const before = touched();
  std::string text;
  EXPECT_EQ(zeva::read_regular(fd, text), 0);
  EXPECT_EQ(text.size(), 100u);
  EXPECT_LT(touched() - before, size_t{64} << 20);
  close(fd);
  zeva::Descriptor const growing(open("/proc/self/status", O_RDONLY));  // is announced as empty
  EXPECT_EQ(zeva::read_regular(growing.get(), text, 100), EFBIG);
}

}  // namespace
