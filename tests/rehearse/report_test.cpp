#include "report.h"

#include <gmock/gmock.h>

#include "nvreg.h"

namespace {

zeva::Value text(std::string const& name, std::string const& content) {
  return {name, NVREG_STRING, content + '\0'};
}

void put(zeva::Key& key, zeva::Value const& value) {
  zeva::Value& slot = key.values.at(value.name);
  slot.type = value.type;
  slot.data = value.data;
}

zeva::Rehearsal sample() {
  zeva::Key before;
  zeva::Key after;
  put(before.subkeys.at("both"), text("same", "1"));
  put(before.subkeys.at("both"), text("old", "1"));
  put(before.subkeys.at("both"), text("type", "1"));
  put(before.subkeys.at("gone").subkeys.at("below"), text("", "x"));
  put(after.subkeys.at("both"), text("new", "\033[2J"));
  put(after.subkeys.at("both"), {"type", NVREG_BINARY, std::string("1\0", 2)});
  put(after.subkeys.at("both"), text("same", "1"));
  after.subkeys.at("made\n");

  zeva::Rehearsal rehearsal;
  rehearsal.had_store = true;
  rehearsal.result = -12;
  rehearsal.log = {{"Start", "", false},
                   {"Error [1]: one", "a.txt", true},
                   {"Warning: two\n\tof it", "b.txt", true},
                   {"Error [3]: \xFF", "a.txt", true}};
  rehearsal.changes = zeva::compare_stores(before, after);
  rehearsal.findings = {{"cut", "a.txt", "s.k", "a text"}, {"unread-file", "\xFF", "", "unread"}};
  return rehearsal;
}

TEST(Report, TellsAPersonAll) {
  EXPECT_EQ(zeva::report_text(sample(), false),
            "\nResult\n"
            "  -12: the quarantine areas could not be imported.\n"
            "\nWarnings and errors\n"
            "  a.txt\n"
            "    Error [1]: one\n"
            "    Error [3]: \\xff\n"
            "  b.txt\n"
            "    Warning: two\n"
            "      of it\n"
            "\nChanges in the store: 1 keys gained, 2 lost, 1 changed\n"
            "  ~ both\n"
            "  +     new=SZ \\x1b[2J\n"
            "  -     type=SZ 1\n"
            "  +     type=BI 31 00 \n"
            "  -     old=SZ 1\n"
            "  + made\\n\n"
            "  - gone\n"
            "  - gone\\below\n"
            "  -     =SZ x\n"
            "\nFindings in the package\n"
            "  a.txt\n"
            "    s.k: a text\n"
            "  \\xff\n"
            "    unread\n");
}

TEST(Report, ColoursAreTheOnlyControlBytes) {
  std::string coloured = zeva::report_text(sample(), true);
  for (std::string const code : {"\033[0m", "\033[1m", "\033[31m", "\033[32m", "\033[33m"}) {
    EXPECT_NE(coloured.find(code), std::string::npos);
    for (size_t at; (at = coloured.find(code)) != std::string::npos;)
      coloured.erase(at, code.size());
  }
  EXPECT_EQ(coloured, zeva::report_text(sample(), false));
}

TEST(Report, TellsAProgramAll) {
  auto const report = zeva::Json::parse(zeva::report_json(sample()));
  EXPECT_EQ(report["result"], -12);
  EXPECT_EQ(report["log"][3].dump(),
            R"({"message":{"hex":"4572726f72205b335d3a20ff"},"file":"a.txt","trouble":true})");
  EXPECT_EQ(report["changes"].size(), 4u);
  EXPECT_EQ(report["changes"][0].dump(),
            R"({"key":"both","change":"changed","values":[{"before":null,"after":{"name":"new",)"
            R"("type":"string","value":"\u001b[2J"}},{"before":{"name":"type","type":"string",)"
            R"("value":"1"},"after":{"name":"type","type":"binary","value":"3100"}},)"
            R"({"before":{"name":"old","type":"string","value":"1"},"after":null}]})");
  EXPECT_EQ(report["findings"][1].dump(),
            R"({"kind":"unread-file","file":{"hex":"ff"},"place":"","text":"unread"})");
}

}  // namespace
