#include "nvregentry.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

using namespace std::string_literals;
using testing::ElementsAre;
using Texts = std::vector<std::string>;

namespace {

_NvRegDataType const kUnknownType = static_cast<_NvRegDataType>(7);

// Stores bytes as the library delivers them, with nothing behind them.
void store(Nvregentry& entry, _NvRegDataType type, std::string const& bytes) {
  std::vector<unsigned char> raw(bytes.begin(), bytes.end());
  entry.setattributes("name", type, raw.data(), static_cast<unsigned>(raw.size()));
}

Texts texts_of(Nvregentry const& entry) {
  Texts list(1);
  EXPECT_EQ(entry.gettype() == NVREG_STRING ? entry.getvalue(list[0]) : entry.getvalue(list), 0);
  return list;
}

}  // namespace

TEST(Nvregentry, TakesWhatTheLibraryDelivers) {
  struct {
    _NvRegDataType type;
    std::string bytes;
    Texts texts;
  } const rows[] = {
      {.type = NVREG_STRING, .bytes = "abc\0"s, .texts = {"abc"}},
      {.type = NVREG_STRING, .bytes = "a\0b\0"s, .texts = {"a"}},
      {.type = NVREG_STRING, .bytes = "\xff\x80z", .texts = {"\xff\x80"}},
      {.type = NVREG_STRING, .bytes = "", .texts = {"\xff\x80"}},  // none: as it was
      {.type = NVREG_BINARY, .bytes = "\x01\xab\0z"s, .texts = {"01", "ab", "00", "7a"}},
      {.type = NVREG_BINARY, .bytes = "\x02\xcd", .texts = {"01", "ab", "00", "7a", "02", "cd"}},
      {.type = NVREG_MULTISTRING,
       .bytes = std::string(5000, 'x') + "\0y\0\0"s,
       .texts = {std::string(4095, 'x'), "y"}},
      {.type = NVREG_MULTISTRING, .bytes = "\0\0"s, .texts = {}}};
  Nvregentry entry;
  for (auto const& row : rows) {
    store(entry, row.type, row.bytes);
    EXPECT_EQ(texts_of(entry), row.texts) << row.bytes;
  }
  store(entry, NVREG_BINARY, "\x03\0z"s);
  entry.settype(NVREG_MULTISTRING);
  EXPECT_THAT(texts_of(entry), ElementsAre("\x03", "z"));
  unsigned char raw[] = "a\0bc\0";
  entry.setvalue(NVREG_MULTISTRING, raw, 1u);
  EXPECT_THAT(texts_of(entry), ElementsAre("a", "bc")) << "whatever the length";
}

TEST(Nvregentry, SettersAndGettersIgnoreTypesThatDoNotFit) {
  Nvregentry entry("name", NVREG_STRING, "text");
  entry.setvalue(NVREG_STRING, 5ul);
  entry.setvalue(NVREG_DWORD, "5"s);
  entry.setvalue(NVREG_STRING, Texts{"5"});
  store(entry, NVREG_DWORD, "5");
  store(entry, kUnknownType, "5");
  EXPECT_THAT(texts_of(entry), ElementsAre("text"));
  Nvregentry const number("name", NVREG_DWORD, 5ul);
  unsigned long value = 9;
  std::string text = "kept";
  Texts list{"kept"};
  unsigned char buffer[8] = {};
  int length = sizeof buffer;
  EXPECT_EQ(entry.getvalue(value) + entry.getvalue(list) + number.getvalue(text), -3);
  EXPECT_EQ(number.getvalue(buffer, length) + entry.getvalue(nullptr, length), -2);
  EXPECT_EQ(std::to_string(value) + text + list[0] + std::to_string(length), "9keptkept8");
}

TEST(Nvregentry, WritesBinaryAsDecimalAndNeverSucceeds) {
  Nvregentry entry;
  unsigned char buffer[5] = {9, 9, 9, 9, 9};
  int length = 0;
  for (Texts const& bytes : {Texts{"01", "ab", "1f", "20", "99"}, Texts{}}) {
    entry.setvalue(NVREG_BINARY, bytes);
    EXPECT_EQ(entry.getvalue(buffer, length), -1);
    EXPECT_EQ(length, static_cast<int>(bytes.size()));
    EXPECT_THAT(buffer, ElementsAre(1, 0, 1, 20, 99));
  }
}
