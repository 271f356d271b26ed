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
  std::pair<std::string, std::string> const cases[] = {
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

TEST(Nvregentry, RendersWhatTheRegistryDoesNotHold) {
  Nvregentry unknown, binary;
  unknown.settype(kUnknownType);
  binary.setvalue(NVREG_BINARY, Texts{"0a", "ff"});
  std::string line = "replaced";
  unknown.getregentrystring("> ", line);
  EXPECT_EQ(line, ">     Unknow type\n");
  testing::internal::CaptureStdout();
  unknown.print("> ");
  binary.print("> ");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Unknow type\n>     binary,  =0a ff \n");
}
