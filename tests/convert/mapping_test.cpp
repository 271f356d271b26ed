#include "mapping.h"

#include <gmock/gmock.h>
#include <stdlib.h>
#include <unicode/uloc.h>

#include "openkey.h"
#include "runlog.h"
#include "scratch_home.h"

namespace {

// An export file of one section.
NvConfigFile export_of(std::vector<Nvkeypair> keys) {
  NvConfigFile file("/in.txt");
  file.setsection("s", std::move(keys));
  return file;
}

// Captures the run log's lines, as its echo shows them.
class LogLines {
 public:
  LogLines() {
    SetDebugLogFileName("/dev/null");
    testing::internal::CaptureStdout();
  }
  std::string text() { return testing::internal::GetCapturedStdout(); }
};

}  // namespace

TEST(ReadData, ConvertsNumbers) {
  NvConfigFile const file = export_of({{"n", "1:30"},
                                       {"words", "1:abc"},
                                       {"full", "1:4294967295"},
                                       {"huge", "1:99999999999999999999"},
                                       {"minus", "1:-1"}});
  struct {
    char const* key;
    uint32_t stored;  // the low 32 bits are what the registry receives
  } const numbers[] = {
      {"n", 30}, {"words", 0}, {"full", 0xffffffff}, {"huge", 0xffffffff}, {"minus", 0xffffffff}};
  for (auto const& c : numbers) {
    long number = 7;
    EXPECT_TRUE(read_data(file, "s", c.key, VALUE_NUMBER, &number, false));
    EXPECT_EQ(static_cast<uint32_t>(number), c.stored) << c.key;
  }
}

TEST(WriteData, StoresEveryTypeAndLogsWhatFails) {
  UErrorCode status = U_ZERO_ERROR;
  uloc_setDefault("en_US", &status);
  ScratchHome home;
  home.start();
  NvPoRegistry registry(home.address());
  OpenKey key(registry, "test");
  long number = static_cast<long>(4294967295u);
  std::string text = "a=b\r\n", list = ";x;;y z;", empty = ";;", short_id = "01g";
  std::string id = "000102030405060708090a0b0c0d0eff";
  _tag_MAP_ITEM const rows[] = {
      {"", "number", VALUE_NUMBER, &number}, {"", "text", VALUE_TEXT, &text},
      {"", "list", VALUE_LIST, &list},       {"", "empty", VALUE_LIST, &empty},
      {"", "id", VALUE_IDENTIFIER, &id},     {"", "short", VALUE_IDENTIFIER, &short_id}};
  LogLines log;
  EXPECT_TRUE(write_data(registry, key.get(), rows, 6));
  EXPECT_EQ(log.text(), "");
  LogLines stored;
  EXPECT_EQ(registry.enumAttrs(key.get(), ""), 0);
  EXPECT_EQ(stored.text(),
            "    dword,   number=4294967295\n    string,   text=a=b\r\n\n"
            "    multisize,  list=x;  y z;  \n    multisize,  empty=\n"
            "    binary,  id=00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e ff \n"
            "    binary,  short=01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 \n");

  home.kill();
  LogLines failures;
  EXPECT_FALSE(write_data(registry, key.get(), rows, 6));  // one line: the first row ends the walk
  EXPECT_FALSE(write_data(registry, key.get(), rows + 4, 1));
  EXPECT_THAT(failures.text(),
              testing::MatchesRegex("Error \\[258\\]: The call nvreg_setValue failed on "
                                    "\"number\" with status 0x810200..\\. \n"
                                    "Error \\[246\\]: set value failed\\.\n"));
}
