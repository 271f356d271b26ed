#include "report.h"

#include "nvreg.h"
#include "registry_view.h"

#include <gmock/gmock.h>

#include <regex>
#include <sstream>

namespace {

zeva::Value text(std::string const& name, std::string const& content) {
  return {name, NVREG_STRING, content + '\0'};
}

void put(zeva::Key& key, std::initializer_list<zeva::Value> values) {
  for (zeva::Value const& value : values) key.values.at(value.name) = value;
}

zeva::Rehearsal sample() {
  zeva::Rehearsal rehearsal;
  zeva::Key& before = *(rehearsal.before = std::make_unique<zeva::Key>());
  zeva::Key& after = *(rehearsal.after = std::make_unique<zeva::Key>());
  put(before.subkeys.at("both"), {text("same", "1"), text("old", "1"), text("type", "1")});
  put(before.subkeys.at("gone").subkeys.at("below"), {text("", "x")});
  put(after.subkeys.at("both"),
      {text("new", "\033[2J"), {"type", NVREG_BINARY, {"1\0", 2}}, text("same", "1")});
  after.subkeys.at("made\n");

  rehearsal.had_store = true;
  rehearsal.result = -12;
  rehearsal.log = {{"Start", "", false},
                   {"Error [1]: one", "a.txt", true},
                   {"Warning: two\n\tof\u009B it", "b.txt", true},
                   {"Error [3]: \xFF", "a.txt", true}};
  rehearsal.findings = {{"cut", "a.txt", "s", "k", "a text"},
                        {"unread-file", "\xFF", "", "", "unread"}};
  return rehearsal;
}

std::string shown(decltype(zeva::report_text) report, zeva::Rehearsal const& rehearsal,
                  bool for_terminal) {
  std::ostringstream out;
  report(rehearsal, for_terminal, out);
  return out.str();
}

TEST(Report, TellsAPersonAll) {
  std::string const plain = shown(zeva::report_text, sample(), false);
  EXPECT_EQ(
      plain,
      "\nResult\n"
      "  -12: the quarantine areas could not be imported.\n"
      "\nWarnings and errors\n"
      "  a.txt\n"
      "    Error [1]: one\n"
      "    Error [3]: \\xff\n"
      "  b.txt\n"
      "    Warning: two\n"
      "      of\\xc2\\x9b it\n"
      "\nChanges in the store: 1 key gained, 2 lost, 1 changed\n"
      "  ~ both\n"
      "  +     new=SZ \\x1b[2J\n"
      "  -     type=SZ 1\n"
      "  +     type=BI 31 00 \n"
      "  -     old=SZ 1\n"
      "  + made\\n\n"
      "  - gone\\below\n"
      "  -     =SZ x\n"
      "\nFindings in the package\n"
      "  a.txt\n"
      "    loss: s.k: a text; shorten it\n"
      "  \\xff\n"
      "    loss: unread; correct the name or the number of items, if it was to be imported\n");
  // Colours are the only control bytes.
  std::regex const colour("\033\\[(0|1|31|32|33)m");
  EXPECT_EQ(std::regex_replace(shown(zeva::report_text, sample(), true), colour, ""), plain);
  std::string const json = shown(zeva::report_json, sample(), true);
  EXPECT_EQ(zeva::Json::parse(json), zeva::Json::parse(shown(zeva::report_json, sample(), false)));
  EXPECT_TRUE(std::ranges::all_of(json, [](unsigned char c) { return c < 0x7F; }));
}

TEST(Report, AChainOfEmptyKeysIsToldOnce) {
  zeva::Rehearsal deep;
  deep.before = std::make_unique<zeva::Key>();
  deep.after = std::make_unique<zeva::Key>();
  deep.not_examined = "tar: no\x1b";
  zeva::Key* key = deep.after.get();
  for (int i = 0; i < 100000; ++i) key = &key->subkeys.at("k");
  std::string const text = shown(zeva::report_text, deep, false);
  EXPECT_THAT(text, testing::HasSubstr(": 100000 keys gained, 0 lost, 0 changed\n  + k\\k"));
  EXPECT_THAT(text, testing::EndsWith("package\n  It could not be looked at: tar: no\\x1b\n"));
  auto const report = zeva::Json::parse(shown(zeva::report_json, deep, false));
  EXPECT_EQ(report["changes"].size(), 1u);
  EXPECT_EQ(report["notes"][0], "the package could not be looked at: tar: no\x1b");
}

}  // namespace
