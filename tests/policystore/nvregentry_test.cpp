#include "nvregentry.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

namespace {

_NvRegDataType const kUnknownType = static_cast<_NvRegDataType>(7);

// A buffer as the library delivers it, with nothing behind the bytes given.
struct Raw {
  explicit Raw(std::string const& bytes) : data(bytes.begin(), bytes.end()) {}
  unsigned length() const { return static_cast<unsigned>(data.size()); }
  std::vector<unsigned char> data;
};

Nvregentry entry_of(_NvRegDataType type, std::string const& bytes) {
  Raw raw(bytes);
  Nvregentry entry;
  entry.setattributes("name", type, raw.data.data(), raw.length());
  return entry;
}

template <typename T>
T value_of(Nvregentry const& entry) {
  T value{};
  EXPECT_EQ(entry.getvalue(value), 0);
  return value;
}

std::string line_of(Nvregentry const& entry) {
  std::string line = "replaced";
  entry.getregentrystring("> ", line);
  return line;
}

std::string printed(Nvregentry const& entry) {
  testing::internal::CaptureStdout();
  entry.print("> ");
  return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(Nvregentry, TakesTextsFromTheLibrary) {
  struct {
    std::string bytes, text;
  } const cases[] = {
      {std::string("abc\0", 4), "abc"},
      {"abc", "ab"},  // no terminator: the last character gives
                      // way
      {std::string("a\0b\0", 4), "a"},
      {"x", ""},
      {"\xff\x80z", "\xff\x80"},
  };
  for (auto const& c : cases)
    EXPECT_EQ(value_of<std::string>(entry_of(NVREG_STRING, c.bytes)), c.text) << c.bytes;

  Nvregentry kept("name", NVREG_STRING, "kept");
  unsigned char nothing = 'x';
  kept.setvalue(NVREG_STRING, &nothing, 0u);
  EXPECT_EQ(value_of<std::string>(kept), "kept");
}

TEST(Nvregentry, AppendsBinaryBytesAndKeepsThemSplitAtNuls) {
  Raw raw(std::string("\x01\xab\0z", 4));
  Nvregentry entry;
  entry.setvalue(NVREG_BINARY, raw.data.data(), raw.length());
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre("01", "ab", "00", "7a"));
  entry.setvalue(NVREG_BINARY, raw.data.data(), 2u);
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre("01", "ab", "00", "7a", "01", "ab"));
  entry.settype(NVREG_MULTISTRING);
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre("\x01\xab"));
}

TEST(Nvregentry, SplitsMultiStringsUpToAnEmptyText) {
  std::string const tail("\0\0", 2);
  EXPECT_THAT(value_of<Texts>(entry_of(NVREG_MULTISTRING, std::string("a\0bc", 4) + tail)),
              ElementsAre("a", "bc"));
  EXPECT_THAT(value_of<Texts>(entry_of(NVREG_MULTISTRING, tail)), IsEmpty());
  Texts cut = value_of<Texts>(
      entry_of(NVREG_MULTISTRING, std::string(5000, 'x') + std::string("\0y", 2) + tail));
  EXPECT_THAT(cut, ElementsAre(std::string(4095, 'x'), "y"));

  Nvregentry short_length;
  Raw raw(std::string("a\0bc\0\0", 6));
  short_length.setvalue(NVREG_MULTISTRING, raw.data.data(), 1u);
  EXPECT_THAT(value_of<Texts>(short_length), ElementsAre("a", "bc"));
}

TEST(Nvregentry, SettersIgnoreTypesThatDoNotFit) {
  Nvregentry entry("name", NVREG_STRING, "text");
  Raw raw("x");
  entry.setvalue(NVREG_STRING, 5ul);
  entry.setvalue(NVREG_DWORD, std::string("5"));
  entry.setvalue(NVREG_STRING, Texts{"5"});
  entry.setvalue(NVREG_DWORD, raw.data.data(), raw.length());
  entry.setvalue(kUnknownType, raw.data.data(), raw.length());
  EXPECT_EQ(value_of<std::string>(entry), "text");

  unsigned long number = 9;
  Texts list{"untouched"};
  EXPECT_EQ(entry.getvalue(number), -1);
  EXPECT_EQ(entry.getvalue(list), -1);
  EXPECT_EQ(number, 9u);
  EXPECT_THAT(list, ElementsAre("untouched"));

  entry.setvalue(NVREG_DWORD, 0xffffffff);
  EXPECT_EQ(value_of<unsigned long>(entry), 0xffffffff);
}

TEST(Nvregentry, WritesBuffersUpToTheirCapacity) {
  Nvregentry const text("name", NVREG_STRING, "abc");
  Nvregentry list, empty;
  list.setvalue(NVREG_MULTISTRING, Texts{"a", "bc"});
  empty.setvalue(NVREG_MULTISTRING, Texts{});
  struct {
    Nvregentry const& entry;
    int capacity, length;
    std::string bytes;  // all 8, "." where nothing was written
  } const cases[] = {
      {text, 8, 4, std::string("abc\0....", 8)},
      {text, 4, 4, std::string("abc\0....", 8)},
      {text, 3, 3, "abc....."},
      {text, 0, 0, "........"},
      {list, 8, 6, std::string("a\0bc\0\0..", 8)},
      {list, 6, 6, std::string("a\0bc\0\0..", 8)},
      {list, 5, 5, std::string("a\0......", 8)},
      {list, 4, 4, std::string("a\0......", 8)},
      {list, 1, 1, "........"},
      {empty, 8, 0, "........"},
  };
  for (auto const& c : cases) {
    std::string buffer(8, '.');
    int length = c.capacity;
    EXPECT_EQ(c.entry.getvalue(reinterpret_cast<unsigned char*>(buffer.data()), length), 0);
    EXPECT_EQ(length, c.length) << line_of(c.entry) << c.capacity;
    EXPECT_EQ(buffer, c.bytes) << line_of(c.entry) << c.capacity;
  }
}

TEST(Nvregentry, WritesBinaryAsDecimalAndNeverSucceeds) {
  Nvregentry entry;
  entry.setvalue(NVREG_BINARY, Texts{"01", "ab", "1f", "20", "99"});
  unsigned char buffer[5] = {9, 9, 9, 9, 9};
  int length = 0;
  EXPECT_EQ(entry.getvalue(buffer, length), -1);
  EXPECT_EQ(length, 5);
  EXPECT_THAT(buffer, ElementsAre(1, 0, 1, 20, 99));

  entry.setvalue(NVREG_BINARY, Texts{});
  EXPECT_EQ(entry.getvalue(buffer, length), -1);
  EXPECT_EQ(length, 0);
  EXPECT_EQ(entry.getvalue(nullptr, length), -1);
  EXPECT_EQ(Nvregentry("name", NVREG_DWORD, 1ul).getvalue(buffer, length), -1);
}

TEST(Nvregentry, RendersForTheLogAndForDebugging) {
  Nvregentry list, unknown;
  list.setattributes("l", NVREG_MULTISTRING, 0ul);
  list.setvalue(NVREG_MULTISTRING, Texts{"a", "b"});
  unknown.settype(kUnknownType);
  Nvregentry binary;
  binary.setname("b");
  binary.setvalue(NVREG_BINARY, Texts{"0a", "ff"});
  struct {
    Nvregentry entry;
    char const *line, *debug;
  } const cases[] = {
      {Nvregentry("d", NVREG_DWORD, 4294967295), ">     d=DW 4294967295\n",
       ">     dword,   d=4294967295\n"},
      {Nvregentry("s", NVREG_STRING, "te xt"), ">     s=SZ te xt\n", ">     string,   s=te xt\n"},
      {binary, ">     b=BI 0a ff \n", ">     binary,  b=0a ff \n"},
      {list, ">     l=MS a, b, \n", ">     multisize,  l=a;  b;  \n"},
      {unknown, ">     Unknow type\n", "Unknow type\n"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(line_of(c.entry), c.line);
    EXPECT_EQ(printed(c.entry), c.debug);
  }
}

TEST(Nvregentry, HandsItsErrorTextOverOnce) {
  Nvregentry entry;
  entry.seterror("why");
  EXPECT_EQ(entry.geterror(), "why");
  EXPECT_EQ(entry.geterror(), "");
}
