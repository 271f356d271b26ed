#include "typedtext.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "identifier.h"

using testing::ElementsAre;
using testing::IsEmpty;

TEST(TypedText, IsATypeNumberAColonAndAPayload) {
  struct {
    char const* text;
    int expected, type;  // type 0: refused
    char const* payload;
  } const cases[] = {
      {"1:30", VALUE_NUMBER, 1, "30"},
      {"3:", VALUE_LIST, 3, ""},
      {"002:a:b", VALUE_ANY, 2, "a:b"},
      {"4:0a", VALUE_ANY, 4, "0a"},
      {"2:30", VALUE_NUMBER, 0, ""},
      {"5:x", VALUE_ANY, 0, ""},
      {"0:x", VALUE_ANY, 0, ""},
      {"2x", VALUE_ANY, 0, ""},
      {"2", VALUE_ANY, 0, ""},
      {":x", VALUE_ANY, 0, ""},
      {"", VALUE_ANY, 0, ""},
      {" 2:x", VALUE_ANY, 0, ""},
      {"+2:x", VALUE_ANY, 0, ""},
      {"4294967298:x", VALUE_ANY, 0, ""},
      {"18446744073709551618:x", VALUE_ANY, 0, ""},
  };
  RegValue value;
  for (auto const& c : cases) {
    RegValue const before = value;
    bool parsed = parse_str(c.text, value, static_cast<tag_VALUE_TYPE>(c.expected));
    EXPECT_EQ(parsed, c.type != 0) << c.text;
    EXPECT_EQ(value.type, parsed ? c.type : before.type) << c.text;
    if (parsed) {
      EXPECT_STREQ(value.text, c.payload);
    }
  }
  EXPECT_STREQ(value.text, "0a");
  free(value.text);
}

TEST(TypedText, PutsBackWhatALineCannotHold) {
  EXPECT_EQ(trans_str("a\x03"
                      "b\x01\x02\x04\xff"),
            "a=b\r\n\x04\xff");
}

TEST(TypedText, SplitsLists) {
  std::vector<std::string> list{"old"};
  std::string const source = ";a;;b c;";
  parse_multi_str(source.c_str(), list);
  EXPECT_THAT(list, ElementsAre("a", "b c"));
  for (char const* empty : {"", ";;"}) {
    parse_multi_str(empty, list);
    EXPECT_THAT(list, IsEmpty()) << empty;
  }
  parse_multi_str("one", list);
  EXPECT_THAT(list, ElementsAre("one"));
}

TEST(TypedText, BecomesARegistryType) {
  int const expected[] = {1, 0, 1, 3, 2, 1, 1};  // by type number
  for (int type = 0; type < 7; ++type)
    EXPECT_EQ(getRegType(static_cast<tag_VALUE_TYPE>(type)), expected[type]) << type;
}

TEST(Identifier, ReadsHexadecimalFields) {
  std::string const zero(16, '\0');
  struct {
    std::string text, bytes;
  } const cases[] = {
      {"000102030405060708090a0b0c0d0eff",
       std::string("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\xff", 16)},
      {" a b10", "\x0a\xb1"},
      {"1 2 3", std::string("\1\2\3", 3)},
      {"12g4", "\x12"},
      {"", ""},
      {"zz", ""},
      {std::string(5000, '7'), std::string(16, '\x77')},
  };
  for (auto const& c : cases) {
    char bytes[18] = {};
    bytes[16] = bytes[17] = '.';
    str_to_guid(&c.text, bytes);
    EXPECT_EQ(std::string(bytes, 18), c.bytes + zero.substr(c.bytes.size()) + "..") << c.text;
  }
  char kept[16];
  memset(kept, 'k', sizeof kept);
  std::string const one_field = "01";
  str_to_guid(&one_field, kept);
  EXPECT_EQ(std::string(kept, 16), "\1" + std::string(15, 'k'));
}

TEST(Identifier, IsFormattedAsTheConsolesDo) {
  char bytes[16] = {0x0a, 0x10, '\x80', 0x7f};
  std::string text = "old";
  guid_to_str(bytes, &text);
  EXPECT_EQ(text, " a10ffffff807f" + std::string(" 0 0 0 0 0 0 0 0 0 0 0 0"));
  memset(bytes, '\xff', sizeof bytes);
  guid_to_str(bytes, &text);
  EXPECT_EQ(text, std::string(39, 'f'));

  char const low[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0x11, 0x7f, 0, 0x20, 0x30, 0x40};
  char back[16] = {};
  guid_to_str(low, &text);
  str_to_guid(&text, back);
  EXPECT_EQ(std::string(back, 16), std::string(low, 16));
}

TEST(Identifier, DrawsNamesFromTheClock) {
  auto const before = static_cast<unsigned long>(time(nullptr));
  std::string first, second;
  gen_iname(first);
  gen_iname(second);
  EXPECT_NE(first, second);
  EXPECT_GE(std::stoul(first), before);
  EXPECT_LE(std::stoul(second), static_cast<unsigned long>(time(nullptr)) + 1);
}
