#include <gmock/gmock.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "buffers.h"
#include "names.h"
#include "product_home.h"
#include "split.h"
#include "unicode.h"
#include "updatelog.h"
#include "version.h"

using Pairs = std::vector<std::pair<std::string, std::string>>;

namespace {

// Both parts joined by a bar, or "-" when the text was not split.
std::string parts(decltype(splitstring) split, char const* source, char const* separator) {
  std::string first = "old", second = "old";
  if (split(source, first, second, separator) == 0) return first + "|" + second;
  EXPECT_EQ(first + second, "oldold");
  return "-";
}

}  // namespace

TEST(TextUtil, SplitsAtTheFirstAndAtTheLastSeparator) {
  struct {
    char const *source, *separator, *at_first, *at_last;
  } const cases[] = {{"a:b", ":", "a|b", "a|b"},  {"a:b:c", ":", "a|b:c", "a:b|c"},
                     {"a::", "::", "a|:", "a|:"}, {":", ":", "|", "|"},
                     {"ab", ":", "-", "-"},       {"", ":", "-", "-"}};
  for (auto const& c : cases) {
    EXPECT_EQ(parts(splitstring, c.source, c.separator), c.at_first) << c.source;
    EXPECT_EQ(parts(splitstringr, c.source, c.separator), c.at_last) << c.source;
  }
  std::string local = "x", domain = "y";  // addresses are appended to the outputs
  EXPECT_EQ(divide("nobody", local, domain), -1);
  EXPECT_EQ(divide("a@b@c", local, domain), 0);
  EXPECT_EQ(local + "|" + domain, "xa|yb@c");
}

TEST(TextUtil, TrimsButKeepsATrailingTab) {
  for (auto const& [text, trimmed] :
       Pairs{{" \t a b  ", "a b"}, {"a \t  ", "a \t"}, {"  \t ", ""}, {"", ""}, {"a\r ", "a\r"}}) {
    std::string out = text;
    EXPECT_EQ(Nvtrim(out), 0);
    EXPECT_EQ(out, trimmed) << text;
  }
}

TEST(TextUtil, PacksVersions) {
  struct {
    char const* text;
    uint32_t packed;
    char const* shown;
  } const cases[] = {{"6.5", 0x00065000, "6.5000"},     {"6.05", 0x00060500, "6.500"},
                     {"6.12345", 0x00061234, "6.1234"}, {"7", 0x00070000, "7.0"},
                     {"6.5x", 0x00065000, "6.5000"},    {"6.", 0x00060000, "6.0"},
                     {"10.a", 0x000a0000, "a.0"},       {"", 0, "0.0"}};
  char text[16];
  for (auto const& c : cases) {
    EXPECT_EQ(NvMakeVersion(c.text), c.packed) << c.text;
    NvMakeVersionString(c.packed, text, sizeof text);
    EXPECT_STREQ(text, c.shown);
  }
  NvMakeVersionString(0x00061234, text, 3);
  EXPECT_STREQ(text, "6.");
}

TEST(TextUtil, MakesBuffersUpToANullSlot) {
  char* buffers[4] = {nullptr, nullptr, nullptr, reinterpret_cast<char*>(buffers)};
  ASSERT_EQ(createBuffers(buffers, 2, 10), 0);
  EXPECT_EQ(createBuffers(buffers + 1, -1, 10), -1);
  ASSERT_NE(buffers[0], nullptr);
  buffers[1][9] = 'x';
  EXPECT_EQ(buffers[2], nullptr);
  EXPECT_NE(buffers[3], nullptr);
  clearBuffers(buffers);
}

TEST(TextUtil, ConvertsToCodePagesWithinTheBuffer) {
  icu::UnicodeString const text = icu::UnicodeString::fromUTF8("aä€\xF0\x9F\x93\xA7");
  struct {
    char const* code_page;
    int32_t capacity;
    int result;
    std::string bytes;
  } const cases[] = {{"UTF8", 16, 0, "aä€\xF0\x9F\x93\xA7"},
                     {"UTF8", 10, 0, "aä€\xF0\x9F\x93\xA7"},
                     {"UTF8", 3, -1, "aä"},
                     {"UTF8", 0, -1, ""},
                     {"iso-8859-1", 16, 0, "a\xe4\x1a\x1a"},
                     {nullptr, 16, 0, "a\x1a\x1a\x1a"},
                     {"no-such-page", 16, -1, ""}};
  for (auto const& c : cases) {
    std::string buffer(17, '.');
    int32_t length = c.capacity;
    EXPECT_EQ(convustringtocodepage(c.code_page, text, buffer.data(), length), c.result);
    EXPECT_EQ(buffer.substr(0, static_cast<size_t>(length)), c.bytes) << c.capacity;
    EXPECT_EQ(buffer.find_first_not_of('.', static_cast<size_t>(c.capacity)), std::string::npos);
  }
}

TEST(TextUtil, ConvertsToStringsAndRecords) {
  std::string out;
  EXPECT_EQ(convunicodetostring(icu::UnicodeString(u"gr\u00fc\u00df"), out), 0);
  EXPECT_EQ(out, "grüß");
  EXPECT_EQ(convunicodetostring(icu::UnicodeString(9000, u'x', 9000), out), -1);
  EXPECT_EQ(out, std::string(8200, 'x'));
  _NvPolCommAttrib record = {"kept", "old"};
  commonustringtoutf8(record, icu::UnicodeString(), icu::UnicodeString(600, u'c', 600));
  EXPECT_STREQ(record.displayName, "kept");
  EXPECT_EQ(std::string(record.comment, sizeof record.comment), std::string(512, 'c'));
}

TEST(TextUtil, DrawsAndShowsNames) {
  srandom(1);
  std::string const first = std::to_string(random());
  for (bool const in_use : {false, true}) {
    std::string name;
    srandom(1);
    gen_iname(name, in_use ? "9" + first + "9" : "");
    EXPECT_EQ(name != first, in_use);
  }
  std::pair<unsigned long, char const*> const shown[] = {{1234567, "12.345.67"},
                                                         {345667, "3.456.67"},
                                                         {12345, "0.123.45"},
                                                         {345, "3.45"},
                                                         {45, "0.45"},
                                                         {7, "7"},
                                                         {4294967295, "42949.672.95"}};
  for (auto const& [number, expected] : shown) {
    std::string name;
    getpatshowname(number, name);
    EXPECT_EQ(name, expected);
  }
}

TEST(TextUtil, AppendsToTheUpdateLogOfAFolder) {
  std::string folder = std::filesystem::temp_directory_path() / "zeva-updatelog-XXXXXX";
  mkdtemp(folder.data());
  EXPECT_EQ(writelog(folder, "nowhere to go"), -1);
  std::filesystem::create_directory(folder + "/log");
  writelog(folder, "one");
  writelog(folder, "two");
  std::ifstream log(folder + "/log/updatelog.debug");
  EXPECT_THAT((std::string{std::istreambuf_iterator<char>(log), {}}),
              testing::MatchesRegex("... ... ../../.. ..:..[AP]M   one... ... ../../.. "
                                    "..:..[AP]M   two"));
  std::filesystem::remove_all(folder);
  setenv("ZEVA_HOME", std::string(300, 'h').c_str(), 1);
  EXPECT_EQ(gethomepath(), std::string(255, 'h'));
  unsetenv("ZEVA_HOME");
  EXPECT_STREQ(gethomepath(), "/opt/norva/zeva");
}
