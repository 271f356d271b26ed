#include "nvregentry.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

namespace {

_NvRegDataType const kUnknownType = static_cast<_NvRegDataType>(7);

// Stores bytes as the library delivers them, with nothing behind them.
void store(Nvregentry& entry, _NvRegDataType type, std::string const& bytes) {
  std::vector<unsigned char> raw(bytes.begin(), bytes.end());
  entry.setattributes("name", type, raw.data(), static_cast<unsigned>(raw.size()));
}

template <typename T>
T value_of(Nvregentry const& entry) {
  T value{};
  EXPECT_EQ(entry.getvalue(value), 0);
  return value;
}

}  // namespace

TEST(Nvregentry, TakesTextsFromTheLibrary) {
  std::vector<std::pair<std::string, std::string>> const cases = {
      {std::string("abc\0", 4), "abc"}, {"abc", "ab"}, {std::string("a\0b\0", 4), "a"},
      {"\xff\x80z", "\xff\x80"},        {"x", ""},     {"", ""}};
  Nvregentry entry;
  for (auto const& [bytes, text] : cases) {
    store(entry, NVREG_STRING, bytes);
    EXPECT_EQ(value_of<std::string>(entry), text) << bytes;
  }
}

TEST(Nvregentry, AppendsBinaryBytesAndKeepsThemSplitAtNuls) {
  Nvregentry entry;
  store(entry, NVREG_BINARY, std::string("\x01\xab\0z", 4));
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre("01", "ab", "00", "7a"));
  store(entry, NVREG_BINARY, "\x01\xab");
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre("01", "ab", "00", "7a", "01", "ab"));
  entry.settype(NVREG_MULTISTRING);
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre("\x01\xab"));
}

TEST(Nvregentry, SplitsMultiStringsUpToAnEmptyText) {
  Nvregentry entry;
  store(entry, NVREG_MULTISTRING, std::string(5000, 'x') + std::string("\0y\0\0", 4));
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre(std::string(4095, 'x'), "y"));
  unsigned char raw[] = "a\0bc\0";
  entry.setvalue(NVREG_MULTISTRING, raw, 1u);
  EXPECT_THAT(value_of<Texts>(entry), ElementsAre("a", "bc"));
  store(entry, NVREG_MULTISTRING, std::string(2, '\0'));
  EXPECT_THAT(value_of<Texts>(entry), IsEmpty());
}

TEST(Nvregentry, SettersAndGettersIgnoreTypesThatDoNotFit) {
  Nvregentry entry("name", NVREG_STRING, "text");
  entry.setvalue(NVREG_STRING, 5ul);
  entry.setvalue(NVREG_DWORD, std::string("5"));
  entry.setvalue(NVREG_STRING, Texts{"5"});
  store(entry, NVREG_DWORD, "5");
  store(entry, kUnknownType, "5");
  EXPECT_EQ(value_of<std::string>(entry), "text");
  unsigned long number = 9;
  Texts list{"untouched"};
  EXPECT_EQ(entry.getvalue(number), -1);
  EXPECT_EQ(entry.getvalue(list), -1);
  std::string text = "untouched";
  EXPECT_EQ(Nvregentry("name", NVREG_DWORD, 5ul).getvalue(text), -1);
  EXPECT_EQ(text, "untouched");
  EXPECT_EQ(number, 9u);
  EXPECT_THAT(list, ElementsAre("untouched"));
}

TEST(Nvregentry, WritesBuffersUpToTheirCapacity) {
  Nvregentry const text("name", NVREG_STRING, "abc");
  Nvregentry list, empty;
  list.setvalue(NVREG_MULTISTRING, Texts{"a", "bc"});
  empty.setvalue(NVREG_MULTISTRING, Texts{});
  struct {
    Nvregentry const& entry;
    int capacity, length;
    std::string bytes;  // "." where nothing was written
  } const cases[] = {{text, 8, 4, std::string("abc\0....", 8)},
                     {text, 4, 4, std::string("abc\0....", 8)},
                     {text, 3, 3, "abc....."},
                     {text, 0, 0, "........"},
                     {list, 8, 6, std::string("a\0bc\0\0..", 8)},
                     {list, 6, 6, std::string("a\0bc\0\0..", 8)},
                     {list, 5, 5, std::string("a\0......", 8)},
                     {list, 4, 4, std::string("a\0......", 8)},
                     {list, 1, 1, "........"},
                     {empty, 8, 0, "........"}};
  for (auto const& c : cases) {
    std::string buffer(8, '.');
    int length = c.capacity;
    EXPECT_EQ(c.entry.getvalue(reinterpret_cast<unsigned char*>(buffer.data()), length), 0);
    EXPECT_EQ(length, c.length) << c.bytes << c.capacity;
    EXPECT_EQ(buffer, c.bytes) << c.capacity;
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
}

TEST(Nvregentry, RendersForTheLogAndForDebugging) {
  Nvregentry list, unknown, binary;
  list.setvalue(NVREG_MULTISTRING, Texts{"a", "b"});
  unknown.settype(kUnknownType);
  binary.setvalue(NVREG_BINARY, Texts{"0a", "ff"});
  struct {
    Nvregentry entry;
    char const *line, *debug;
  } const cases[] = {
      {{"d", NVREG_DWORD, 4294967295}, ">     d=DW 4294967295\n", ">     dword,   d=4294967295\n"},
      {{"s", NVREG_STRING, "te xt"}, ">     s=SZ te xt\n", ">     string,   s=te xt\n"},
      {binary, ">     =BI 0a ff \n", ">     binary,  =0a ff \n"},
      {list, ">     =MS a, b, \n", ">     multisize,  =a;  b;  \n"},
      {unknown, ">     Unknow type\n", "Unknow type\n"}};
  for (auto const& c : cases) {
    std::string line = "replaced";
    c.entry.getregentrystring("> ", line);
    EXPECT_EQ(line, c.line);
    testing::internal::CaptureStdout();
    c.entry.print("> ");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), c.debug);
  }
}
