#include "digest.h"
#include "html_report.h"
#include "json_report.h"
#include "made_up.h"
#include "registry_view.h"
#include "schema.h"
#include "secrets.h"
#include "text_report.h"

#include <gmock/gmock.h>
#include <pugixml.hpp>

#include <regex>
#include <sstream>

namespace {

using Detail = zeva::TextStyle::Detail;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

zeva::Rehearsal sample() {
  zeva::Rehearsal rehearsal;
  zeva::Key& before = *(rehearsal.before = std::make_unique<zeva::Key>());
  zeva::Key& after = *(rehearsal.after = std::make_unique<zeva::Key>());
  put(before, "both", {text("same", "1"), text("old", "1"), text("type", "1")});
  put(before, "gone\\below", {text("", "x")});
  put(before, "registry\\policy\\Rule\\Mail", {text("order", "1")});
  put(before, "registry\\policy\\Rule\\Mail\\rules\\Old", {text("order", "1")});
  put(before, "registry\\policy\\Rule\\Mail\\rules\\Old\\tasks\\Scan", {text("order", "1")});
  put(after, "both",
      {text("new", "\033[2J"), {"type", NVREG_BINARY, {"1\0", 2}}, text("same", "1")});
  put(after, "made\n", {});
  put(after, "registry\\policy\\Rule\\Mail", {text("order", "2")});

  rehearsal.had_store = true;
  rehearsal.before_sha256 = std::string(64, 'b');
  rehearsal.result = -12;
  rehearsal.log = {{"Start", "", false},
                   {"Error [1]: one", "a.txt", true},
                   {"Warning: two\n\tof\u009B it", "b.txt", true},
                   {"Error [3]: \xFF", "a.txt", true}};
  rehearsal.findings = {{"unlisted-file", "n", "", "", "unlisted"},
                        {"cut", "a.txt", "s", "k", "a text"},
                        {"cut", "c.txt", "s", "", "another"},
                        {"unread-file", "\xFF", "", "", "unread"}};
  return rehearsal;
}

std::string as_text(zeva::Rehearsal const& rehearsal, zeva::TextStyle const& style = {},
                    zeva::Scope const& scope = {}) {
  std::ostringstream out;
  report_text(rehearsal, outline_of(rehearsal), scope, style, out);
  return out.str();
}

std::string as_json(zeva::Rehearsal const& rehearsal, bool for_terminal = false,
                    zeva::Scope const& scope = {}) {
  std::ostringstream out;
  report_json(rehearsal, outline_of(rehearsal), scope, for_terminal, out);
  expect_valid(out.str());
  return out.str();
}

std::string as_html(zeva::Rehearsal const& rehearsal, zeva::Scope const& scope = {}) {
  return report_html(rehearsal, outline_of(rehearsal), scope);
}

char const kHead[] =
    "Verdict: not imported, but the store is not as it was\n"
    "  -12: the quarantine areas could not be imported.\n"
    "\nAreas\n"
    "  Filter actions: no change\n"
    "  Scan settings: no change\n"
    "  Policies: 1 lost, 1 changed\n"
    "    lost: Mail\\Old\n"
    "  Tasks: 1 lost\n"
    "    lost: Mail\\Old\\Scan\n"
    "  Lists of senders: no change\n"
    "  Extra filters: no change\n"
    "  Address groups: no change\n"
    "  Single values: 1 gained, 1 lost, 1 changed\n"
    "    lost: gone\\below\n"
    "\nFindings: 3 losses, 1 note\n"
    "  a.txt\n"
    "    loss: s.k: a text; shorten it\n"
    "  c.txt\n"
    "    loss: s: another; shorten it\n"
    "  \\xff\n"
    "    loss: unread; correct the name or the number of items, if it was to be imported\n";
char const kRest[] =
    "  n\n"
    "    note: unlisted; make md5.sum anew, as zeva-pack does\n"
    "\nWarnings and errors of the run\n"
    "  a.txt\n"
    "    Error [1]: one\n"
    "    Error [3]: \\xff\n"
    "  b.txt\n"
    "    Warning: two\n"
    "      of\\xc2\\x9b it\n"
    "\nChanges in the store: 1 key gained, 6 lost, 2 changed\n"
    "  Policies: 3 keys\n"
    "  ~ registry\\policy\\Rule\\Mail\n"
    "  -     order=SZ 1\n"
    "  +     order=SZ 2\n"
    "  - registry\\policy\\Rule\\Mail\\rules\\Old\n"
    "  -     order=SZ 1\n"
    "  Tasks: 2 keys\n"
    "  - registry\\policy\\Rule\\Mail\\rules\\Old\\tasks\\Scan\n"
    "  -     order=SZ 1\n"
    "  Single values: 4 keys\n"
    "  ~ both\n"
    "  +     new=SZ \\x1b[2J\n"
    "  -     type=SZ 1\n"
    "  +     type=BI 31 00 \n"
    "  -     old=SZ 1\n"
    "  + made\\n\n"
    "  - gone\\below\n"
    "  -     =SZ x\n"
    "\nThe run's log\n"
    "    Start\n"
    "    Error [1]: one\n"
    "    Warning: two\n"
    "      of\\xc2\\x9b it\n"
    "    Error [3]: \\xff\n";

TEST(Report, TellsAPersonTheMostImportantFirst) {
  zeva::Rehearsal const rehearsal = sample();
  std::string const plain = as_text(rehearsal);
  EXPECT_EQ(plain, std::string(kHead) + kRest);
  // Colours are the only control bytes.
  std::regex const colour("\033\\[(0|1|31|32|33)m");
  EXPECT_EQ(std::regex_replace(as_text(rehearsal, {Detail::kValues, true}), colour, ""), plain);
  EXPECT_EQ(as_text(rehearsal, {Detail::kSummary, false}), kHead + std::string("  and 1 more\n"));
  std::string const names = as_text(rehearsal, {Detail::kNames, false});
  EXPECT_THAT(names, HasSubstr("  ~ both\n  + made\\n\n  - gone\\below\n\nThe run's log"));
  EXPECT_THAT(as_text(rehearsal, {}, {zeva::Area::kTasks, "registry"}),
              HasSubstr("2 changed\n  Tasks: 2 keys\n  - registry\\policy\\Rule\\Mail\\rules\\Old\\"
                        "tasks\\Scan\n  -     order=SZ 1\n  7 changed keys are not shown.\n"));
}

TEST(Report, TellsAProgramAll) {
  zeva::Rehearsal const rehearsal = sample();
  std::string const json = as_json(rehearsal, true);
  EXPECT_TRUE(std::ranges::all_of(json, [](unsigned char c) { return c < 0x7F; }));
  EXPECT_EQ(zeva::Json::parse(json), zeva::Json::parse(as_json(rehearsal)));
  EXPECT_THAT(json, HasSubstr(R"("left_out":3,"warnings":1,"store_errors":0,)"));
  EXPECT_THAT(json, HasSubstr(R"({"area":"policies","gained":0,"lost":1,"changed":1,)"));
  auto const scoped = zeva::Json::parse(as_json(rehearsal, false, {std::nullopt, "gone"}));
  EXPECT_EQ(scoped["changes"].size(), 1u);
  EXPECT_EQ(scoped["hidden_keys"], 7);
}

// What a browser makes of it, tests/browser tries.
TEST(Report, IsAPageOfRealTables) {
  zeva::Rehearsal rehearsal = sample();
  std::string const page = as_html(rehearsal);
  // Bytes that no text may hold, and elements that a browser would take for open ones.
  EXPECT_FALSE(
      std::regex_search(page, std::regex(R"([\x01-\x09\x0B-\x1F]|\x9B|<(?!meta)\w+[^>]*/>)")));
  pugi::xml_document tree;
  ASSERT_TRUE(tree.load_string(page.c_str()));
  for (auto const& [path, many] : std::map<std::string, size_t>{
           {"//details[@open]/div/table[caption]", 3},
           {"//table[@class or not(caption)] | //th[not(@scope)]", 0},
           {"//tr[th='~ order' and td[1]='SZ 1' and td[2]='SZ 2']", 1},
           {"//tr[th='+ type' or th='~ type'][td='SZ 1' and td='BI 31 00 ']", 1},
           {"//tr[th='+ new' and td[1]='(none)' and td[2]='SZ \\x1b[2J']", 1},
           {"//tr[th='- (no name)' and td[1]='SZ x' and td[2]='(none)']", 1},
           {"//tbody[tr/th[span='+ gained' and bdi='made\\n']]/tr[td='(no values)']", 1},
           {"//meta[starts-with(@content, \"default-src 'none'; style-src 'sha256-\")]", 1},
           {"//tr[th='Policies' and td[1]='0' and starts-with(td[2], '1') and td[3]='1']", 1},
           {"//dl[starts-with(dd[2], 'bbbb') and contains(dt[2], 'before')]", 1},
           {"//tr[th='Tasks']/td[@class='lost']//li[bdi[1]='Mail' and bdi[3]='Scan']", 1},
           {"//table[caption[@class='loss']]//tr[th='\\xff' and td='unread']", 1},
           {"//table//tr[th='b.txt']//pre[contains(., 'two') and contains(., 'of\\xc2\\x9b it')]",
            1},
       }) {
    EXPECT_EQ(tree.select_nodes(path.c_str()).size(), many) << path;
  }
  EXPECT_THAT(as_html(rehearsal, {zeva::Area::kTasks, ""}),
              HasSubstr("<p>7 changed keys are not shown.</p>"));

  rehearsal.after.reset();
  ASSERT_TRUE(tree.load_string(as_html(rehearsal).c_str()));
  EXPECT_EQ(tree.select_nodes("//nav//a[substring(@href, 2)=//section/@id]").size(), 7u);
}

TEST(Report, NoTableOfAPageIsLong) {
  zeva::Rehearsal rehearsal = sample();
  for (int i = 0; i < 500; ++i) put(*rehearsal.after, "many", {text(std::to_string(i), "")});
  pugi::xml_document tree;
  ASSERT_TRUE(tree.load_string(as_html(rehearsal).c_str()));
  for (auto const& [path, many] : std::map<std::string, size_t>{
           {"//table[count(tbody/tr) > 200]", 0},
           {"//tbody[tr/th[bdi='many'] and count(tr) > 1]", 3},
           {"//tbody[tr/th[bdi='many']]/tr[td]", 500},
       }) {
    EXPECT_EQ(tree.select_nodes(path.c_str()).size(), many) << path;
  }
}

TEST(Report, TheVerdictIsTrue) {
  zeva::Rehearsal rehearsal = sample();
  rehearsal.result = 0;
  // Three losses, and no finding tells of the error in the line of d.txt.
  rehearsal.log.push_back({"Error [4]: four", "d.txt", true});
  EXPECT_THAT(as_text(rehearsal),
              HasSubstr("Verdict: imported, 4 items left out or altered, with 1 warning\n"));
  // A file or section as a whole is one item, but for its bytes; so is a name called for twice.
  auto const also = [&](zeva::Finding const& finding) { rehearsal.findings.push_back(finding); };
  also({"skipped", "a.txt", "", "", "all of it"});
  also({"missing", "c.txt", "s", "k", "is missing"});
  for (char const* const key : {"k", "l"})
    also({"dangling-reference", "e.txt", "s", key, "no \"x\""});
  also({"byte-order-mark", "f.txt", "", "", "a mark"});
  also({"partial", "f.txt", "s", "", "the section"});
  also({"same-name", "f.txt", "t", "", "twice"});
  also({"cut", "f.txt", "t", "k", "a text"});
  rehearsal.log.push_back({"Error [484]: of the store", "", true, true});
  EXPECT_THAT(
      as_text(rehearsal),
      HasSubstr(
          "Verdict: imported, 9 items left out or altered, with 1 warning, with 1 error about "
          "the store\n"));
  rehearsal.findings.clear();
  rehearsal.log.resize(1);
  EXPECT_THAT(as_text(rehearsal), HasSubstr("Verdict: imported\n"));
  rehearsal.target = {{"no-room", "/tmp", "", "", "no room"}};
  EXPECT_THAT(as_text(rehearsal, {Detail::kValues, true}),
              AllOf(HasSubstr("\033[33mVerdict: imported\033"),
                    HasSubstr("\n  On this machine, 1 error stands in the migration's way.\n")));
  rehearsal.target.clear();
  rehearsal.after = std::make_unique<zeva::Key>();
  rehearsal.before = std::make_unique<zeva::Key>();
  EXPECT_THAT(as_text(rehearsal), HasSubstr("Verdict: imported, nothing would change\n"));
  rehearsal.result = -6;
  EXPECT_THAT(as_text(rehearsal), HasSubstr("Verdict: not imported, the store is as it was\n"));
  rehearsal.after.reset();
  std::string const text = as_text(rehearsal);
  EXPECT_THAT(text, HasSubstr("Verdict: not imported\n"));
  EXPECT_THAT(text, Not(HasSubstr("0 keys")));
  rehearsal.result = 0;
  rehearsal.not_examined = "why";
  EXPECT_THAT(as_text(rehearsal, {Detail::kValues, true}), HasSubstr("\033[33mVerdict: imported"));
}

TEST(Report, AChainOfEmptyKeysIsToldOnce) {
  zeva::Rehearsal deep;
  deep.before = std::make_unique<zeva::Key>();
  deep.after = std::make_unique<zeva::Key>();
  deep.not_examined = "tar: no\x1b";
  zeva::Key* key = deep.after.get();
  for (int i = 0; i < 100000; ++i) key = &key->subkeys.at("k");
  std::string const text = as_text(deep);
  EXPECT_THAT(text, HasSubstr(": 100000 keys gained, 0 lost, 0 changed\n"));
  EXPECT_THAT(text, HasSubstr("\n  + k\\k"));
  EXPECT_THAT(text, HasSubstr("\n  The package could not be looked at: tar: no\\x1b\n"));
  auto const report = zeva::Json::parse(as_json(deep));
  EXPECT_EQ(report["changes"].size(), 1u);
  EXPECT_EQ(report["notes"][0], "the package could not be looked at: tar: no\x1b");
}

TEST(Areas, EveryKeyIsInOne) {
  struct Row {
    std::string path, area, item;
  };
  for (Row const& row : std::vector<Row>{
           {"registry\\policy\\Classification\\Deliver\\actions\\A", "filter-actions", "Deliver"},
           {"registry\\config", "scan-settings", "config"},
           {"registry\\config\\FilterManager\\0002", "scan-settings", "0002"},
           {"registry\\config\\FilterManager\\0003", "single-values",
            "registry\\config\\FilterManager\\0003"},
           {"registry\\policy\\Rule\\Mail\\inactive", "policies", "Mail"},
           {"registry\\policy\\Rule\\Mail\\rules", "policies", "Mail"},
           {"registry\\policy\\Rule\\Mail\\rules\\tasks\\tasks\\rules\\x", "tasks",
            "Mail\\tasks\\rules"},
           {"registry\\policy\\Rules", "single-values", "registry\\policy\\Rules"},
           {"WhiteBlackLists\\Global\\A\\B", "sender-lists", "Global\\A\\B"},
           {"XFilter\\F", "extra-filters", "F"},
           {"registry\\policy\\AddressList\\G", "address-groups", "G"},
           {"", "single-values", ""},
       }) {
    zeva::AreaItem const item = zeva::item_at(row.path);
    EXPECT_EQ(name_of(item.area).id, row.area) << row.path;
    EXPECT_EQ(shown_name(item), row.item) << row.path;
    EXPECT_EQ(zeva::area_named(row.area), item.area);
  }
  EXPECT_TRUE(zeva::item_at("registry\\config").is_one);
  EXPECT_FALSE(zeva::item_at("XFilter").is_one);
  EXPECT_FALSE(zeva::item_at("registry\\policy\\Rule").is_one);
}

TEST(Secrets, AreKnownByTheirNames) {
  for (char const* name :
       {"Password", "proxy_passwd", "ApiKey2", "SMTP-PASSWORD", "sharedSecret", "PassPhrase",
        "admin_pwd", "Token", "Credential", "credentials", "Secret-Key", "AccessKey", "private_key",
        "SharedKey 1", "LDAP Password (old)"}) {
    EXPECT_TRUE(zeva::Secrets::is_secret_name(name)) << name;
  }
  for (char const* name : {"PasswordProtected", "Key", "Tokens per day", ""}) {
    EXPECT_FALSE(zeva::Secrets::is_secret_name(name)) << name;
  }
}

// The longest that begins at a place, whatever other secrets are around it in the alphabet.
TEST(Secrets, AreFoundAmongTheirLike) {
  zeva::Secrets secrets;
  for (char const* secret : {"aaaa", "aaaab", "aaaabcdx", "aaaad", "line1\nline2", "abc"}) {
    secrets.learn(secret);
  }
  EXPECT_EQ(secrets.hide("aaaabcdy abc line2 aaaabcdx aaaac line1\nline2."),
            "(masked)cdy abc (masked) (masked) (masked)c (masked).");
  EXPECT_TRUE(secrets.covers("Proxy\\Password", ""));
  EXPECT_FALSE(secrets.covers("Password\\Proxy", "Value"));
}

TEST(Secrets, AreInNoReport) {
  zeva::Rehearsal rehearsal = sample();
  zeva::Key& before = *rehearsal.before;
  zeva::Key& after = *rehearsal.after;
  put(before, "s", {text("Password", "canary-old"), text("Token", "canary-same")});
  put(after, "s", {text("Password", "canary-new"), text("Token", "canary-same")});
  put(after, "t\\u",
      {{"l", NVREG_MULTISTRING, std::string("canary-a\0canary-b\0\0", 19)},
       {"b", NVREG_BINARY, "canary"},
       text("broken", "canary\xFF"),
       {"n", NVREG_DWORD, std::string("\x15\xCD\x5B\x07", 4)}});
  put(after, "tu", {text("shown", "shown")});
  zeva::Secrets secrets({"t"});
  for (zeva::Key* store : {&before, &after}) {
    secrets.learn(*store);
    secrets.mask(*store, "salt");
  }
  std::string const line = secrets.hide(
      "canary-old, canary-new; canary-b 63 61 6e 61 72 79 canary\xFF 123456789 canary-other");
  EXPECT_EQ(line, "(masked), (masked); (masked) (masked) (masked) (masked) canary-other");
  std::string const reports = as_text(rehearsal) + as_json(rehearsal) + as_html(rehearsal);
  EXPECT_THAT(reports, Not(HasSubstr("canary")));
  EXPECT_THAT(reports, Not(HasSubstr("123456789")));
  EXPECT_THAT(reports, HasSubstr("  -     Password=(masked)\n  +     Password=(masked)\n"));
  EXPECT_THAT(reports, Not(HasSubstr("Token")));
  EXPECT_THAT(reports, HasSubstr("  + tu\n  +     shown=SZ shown\n"));
}

TEST(Digest, IsThatOfTheContent) {
  zeva::Key empty, one, other_order, nested, flat;
  put(one, "a", {text("x", "1"), text("y", "2")});
  put(one, "b", {});
  put(other_order, "b", {});
  put(other_order, "a", {text("y", "2"), text("x", "1")});
  put(nested, "a\\b", {text("x", "1"), text("y", "2")});
  put(flat, "a", {text("x", "1y"), text("y", "2")});
  EXPECT_EQ(zeva::store_digest(one), zeva::store_digest(other_order));
  std::set<std::string> digests;
  for (zeva::Key const* store : {&empty, &one, &nested, &flat}) {
    digests.insert(zeva::store_digest(*store));
  }
  EXPECT_EQ(digests.size(), 4u);
  // Of a secret, nobody without the salt can try what it might be.
  zeva::Value const secret = text("Password", "1");
  EXPECT_NE(zeva::keyed_digest(secret, "salt"), zeva::keyed_digest(secret, "pepper"));
  WorkFolder work;
  work.write("f", "abc");
  EXPECT_EQ(zeva::file_digest(work / "f"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
