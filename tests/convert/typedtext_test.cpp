#include "typedtext.h"

#include "identifier.h"

#include <gmock/gmock.h>

#include <stdlib.h>
#include <string.h>
#include <time.h>

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(TypedText, IsATypeNumberAColonAndAPayload) {
  struct {
    char const* text;
    tag_VALUE_TYPE expected;
    int type;
    char const* payload;
  } const good[] = {{"1:30", VALUE_NUMBER, 1, "30"},
                    {"3:", VALUE_LIST, 3, ""},
                    {"002:a:b", VALUE_ANY, 2, "a:b"},
                    {"4:0a", VALUE_ANY, 4, "0a"}};
  RegValue value;
  for (auto const& c : good) {
    EXPECT_TRUE(parse_str(c.text, value, c.expected));
    EXPECT_EQ(value.type, c.type);
    EXPECT_STREQ(value.text, c.payload);
  }
  EXPECT_FALSE(parse_str("2:30", value, VALUE_NUMBER));
  for (char const* bad : {"5:x", "0:x", "2x", "2", ":x", "", " 2:x", "+2:x", "2 :x", "4294967298:x",
                          "18446744073709551618:x"})
    EXPECT_FALSE(parse_str(bad, value, VALUE_ANY)) << bad;
  EXPECT_STREQ(value.text, "0a");
  free(value.text);
}

TEST(TypedText, SplitsListsAndPutsBackWhatALineCannotHold) {
  EXPECT_EQ(trans_str("a\x03_\x01\x02\x04\xff"), "a=_\r\n\x04\xff");
  std::vector<std::string> list{"old"};
  parse_multi_str(";a;;b c;", list);
  EXPECT_THAT(list, ElementsAre("a", "b c"));
  for (char const* empty : {"", ";;"}) {
    parse_multi_str(empty, list);
    EXPECT_THAT(list, IsEmpty()) << empty;
  }
  int const registry_types[] = {1, 0, 1, 3, 2, 1, 1};
  for (int type = 0; type < 7; ++type)
    EXPECT_EQ(getRegType(static_cast<tag_VALUE_TYPE>(type)), registry_types[type]) << type;
}

TEST(Identifier, ReadsHexadecimalFields) {
  std::vector<std::pair<std::string, std::string>> const cases = {
      {"000102030405060708090a0b0c0d0eff",
       std::string("\0\1\2\3\4\5\6\7\10\11\12\13\14\15\16\xff", 16)},
      {" 1 a10 2" + std::string(24, '3'), "\1\x0a\x10\2" + std::string(12, '\x33')},
      {"1 " + std::string(30, '3'), "\1" + std::string(15, '\x33')},
      {" a b10", "\x0a\xb1"},
      {"1 2 3", "\1\2\3"},
      {"12g4", "\x12"},
      {"", ""},
      {std::string(5000, '7'), std::string(16, '\x77')}};
  for (auto const& [text, bytes] : cases) {
    std::string out = std::string(16, '\0') + "..";
    str_to_guid(&text, out.data());
    EXPECT_EQ(out, bytes + std::string(16 - bytes.size(), '\0') + "..") << text;
  }
  std::string kept(16, 'k');
  std::string const one_field = "01";
  str_to_guid(&one_field, kept.data());
  EXPECT_EQ(kept, "\1" + std::string(15, 'k'));
}

TEST(Identifier, IsFormattedInTwoColumnsAByte) {
  char const bytes[16] = {0x0a, 0x10, '\x80', 0x7f};
  std::string text = "old";
  guid_to_str(bytes, &text);
  EXPECT_EQ(text, " a10ffffff807f 0 0 0 0 0 0 0 0 0 0 0 0");
  guid_to_str(std::string(16, '\xff').data(), &text);
  EXPECT_EQ(text, std::string(39, 'f'));
}

TEST(Identifier, DrawsNamesFromTheClock) {
  unsigned long now, names[3];
  auto const clock = [] { return static_cast<unsigned long>(time(nullptr)); };
  do {  // all within one second
    now = clock();
    for (unsigned long& name : names) {
      std::string text;
      gen_iname(text);
      name = std::stoul(text);
    }
  } while (clock() != now);
  // The first is now, but for the name before it.
  EXPECT_THAT(names, ElementsAre(AnyOf(now, now + 1), 2 * now + 1 - names[0], names[0]));
}
