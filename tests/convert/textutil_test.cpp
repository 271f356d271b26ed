#include "homepath.h"
#include "names.h"
#include "scratch_folder.h"
#include "split.h"
#include "unicode.h"
#include "updatelog.h"
#include "version.h"

#include <gmock/gmock.h>

#include <stdlib.h>

TEST(TextUtil, SplitsTrimsAndNames) {
  std::string first = "x", second = "y";
  // Each call's result, what it leaves in the texts, and what it should.
  auto const parts = [&](int result) { return result == 0 ? first + "|" + second : "-"; };
  auto const trimmed = [](std::string text) { return Nvtrim(text), text; };
  auto const shown = [](unsigned long number) {
    std::string name;
    return getpatshowname(number, name), name;
  };
  std::pair<std::string, char const*> const rows[] = {
      {parts(divide("nobody", first, second)), "-"},
      {parts(divide("a@b@c", first, second)), "xa|yb@c"},
      {parts(splitstring("ab", first, second, ":")), "-"},
      {parts(splitstring("a:b:c", first, second, ":")), "a|b:c"},
      {parts(splitstringr("", first, second, "")), "-"},
      {parts(splitstringr("a:b:c", first, second, ":")), "a:b|c"},
      {trimmed(" \t a b  "), "a b"},
      {trimmed("a \t  "), "a \t"},
      {trimmed("  \t "), ""},
      {shown(1234567), "12.345.67"},
      {shown(12345), "0.123.45"},
      {shown(7), "7"}};
  for (auto const& [found, expected] : rows) EXPECT_EQ(found, expected);

  srandom(1);
  std::string const drawn = std::to_string(random());
  for (bool const in_use : {false, true}) {
    srandom(1);
    gen_iname(first, in_use ? "9" + drawn + "9" : "");
    EXPECT_EQ(first != drawn, in_use);
  }
}

TEST(TextUtil, PacksVersions) {
  struct {
    char const* text;
    uint32_t packed;
    char const* shown;
  } const rows[] = {{.text = "6.5x", .packed = 0x00065000, .shown = "6.5000"},
                    {.text = "6.05", .packed = 0x00060500, .shown = "6.500"},
                    {.text = "6.12345", .packed = 0x00061234, .shown = "6.1234"},
                    {.text = "7", .packed = 0x00070000, .shown = "7.0"}};
  char text[7];
  for (auto const& row : rows) {
    EXPECT_EQ(NvMakeVersion(row.text), row.packed) << row.text;
    EXPECT_EQ(NvMakeVersionString(row.packed, text, sizeof text), 0);
    EXPECT_STREQ(text, row.shown);
  }
  NvMakeVersionString(0x00061234, text, 3);
  EXPECT_STREQ(text, "6.");
}

TEST(TextUtil, ConvertsToBytesWithinTheBuffer) {
  icu::UnicodeString const text = icu::UnicodeString::fromUTF8("aä€");
  struct {
    char const* code_page;
    int32_t capacity;
    int result;
    std::string bytes;
  } const rows[] = {{.code_page = "UTF8", .capacity = 6, .result = 0, .bytes = "aä€"},
                    {.code_page = "UTF8", .capacity = 3, .result = -1, .bytes = "aä"},
                    {.code_page = "iso-8859-1", .capacity = 16, .result = 0, .bytes = "a\xe4\x1a"},
                    {.code_page = nullptr, .capacity = 16, .result = 0, .bytes = "a\x1a\x1a"},
                    {.code_page = "no-such-page", .capacity = 16, .result = -1, .bytes = ""}};
  for (auto const& row : rows) {
    std::string buffer(17, '.');
    int32_t length = row.capacity;
    EXPECT_EQ(convustringtocodepage(row.code_page, text, buffer.data(), length), row.result);
    EXPECT_EQ(buffer.substr(0, static_cast<size_t>(length)), row.bytes) << row.capacity;
    EXPECT_EQ(buffer.find_first_not_of('.', static_cast<size_t>(row.capacity)), std::string::npos);
  }
  std::string out;
  EXPECT_EQ(convunicodetostring(text, out), 0);
  EXPECT_EQ(out, "aä€");
  _NvPolCommAttrib record = {"kept", "old"};
  commonustringtoutf8(record, icu::UnicodeString(), icu::UnicodeString(600, u'c', 600));
  EXPECT_STREQ(record.displayName, "kept");
  EXPECT_EQ(std::string(record.comment, sizeof record.comment), std::string(512, 'c'));
}

TEST(TextUtil, AddsToTheUpdateLog) {
  ScratchFolder const home;
  EXPECT_EQ(writelog(home.path(), "lost\n"), -1);
  home.write("log/updatelog.debug", "before\n");
  EXPECT_EQ(writelog(home.path(), "%s"), 0);
  EXPECT_THAT(home.read("log/updatelog.debug"),
              testing::MatchesRegex("before\n... ... ../../.. ..:..[AP]M   %s"));
}

TEST(TextUtil, KnowsTheHome) {
  setenv("ZEVA_HOME", std::string(300, 'h').c_str(), 1);
  EXPECT_EQ(gethomepath(), std::string(255, 'h'));
  unsetenv("ZEVA_HOME");
  EXPECT_STREQ(gethomepath(), "/opt/norva/zeva");
}
