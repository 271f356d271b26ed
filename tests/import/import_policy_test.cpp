// The policy tree and its tasks: what arrives, what a failure costs, and every line of the log.
#include "import_fixture.h"
#include "importers.h"

#include <pthread.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace {

std::string const kRule = "registry\\policy\\Rule";
std::string const kMail = kRule + "\\Mail";
std::string const kLists = "WhiteBlackLists\\Global";

std::string error(int code, std::string const& text) {
  return "Error [" + std::to_string(code) + "]: " + text;
}

std::string unreadable(int code, std::string const& file) {
  return error(code, "read " + file + " failed.");
}

std::string unopened(int code, std::string const& key) {
  return refused(code, "nvreg_createKey", key);
}

// A policy with sub-policies N1, N2 ... and tasks in these files.
std::string policy(Lines const& policies = {}, Lines const& tasks = {},
                   std::string const& name = "Mail") {
  std::ostringstream text;
  text << "[common]\nname=2:" << name << "\ncomment=2:c\ndisplayName=2:d\norder=1:1\nmatchType=1:2"
       << "\nconditionNum=1:0\ninactiveNum=1:0\nsubPolicyNum=1:" << policies.size()
       << "\ntaskNum=1:" << tasks.size() << "\n";
  for (size_t i = 0; i < policies.size(); ++i) {
    text << "[policy" << i + 1 << "]\nname=2:N" << i + 1 << "\nfilename=2:" << policies[i] << "\n";
  }
  for (size_t i = 0; i < tasks.size(); ++i) {
    text << "[task" << i + 1 << "]\nfilename=2:" << tasks[i] << "\n";
  }
  return text.str();
}

std::string task(int filter, std::string const& sections) {
  return "[common]\nname=2:T\norder=1:1\nfilter=1:" + std::to_string(filter) +
         "\nenable=1:1\noverridable=1:0\ncomment=2:c\ndisplayName=2:d\n" + sections;
}

// A task of the example, under a name of one's own.
std::string example_task(std::string const& file, std::string const& name) {
  std::ifstream stream(std::string(ZEVA_EXAMPLE_FOLDER "/tasks/") + file);
  std::ostringstream text;
  text << stream.rdbuf();
  size_t const at = text.str().find("\nname=2:") + 8;
  return text.str().substr(0, at) + name + text.str().substr(text.str().find('\n', at));
}

Lines below(std::string const& path, Lines lines) {
  for (std::string& line : lines) line.insert(0, path);
  return lines;
}

class ImportPolicy : public ImportTest {
 protected:
  // Imports over what an earlier migration left; the log.
  Lines import(Export const& files, std::string const& failing = "") {
    put(kMail, "old");
    put(kLists, "old");
    EXPECT_EQ(run(import_policy, files, failing), 0);
    return logged();
  }

  Lines import_task_text(std::string const& text) {
    return import({{"globalPolicy.txt", policy({}, {"t"})}, {"t", text}});
  }
};

TEST_F(ImportPolicy, RebuildsTheTree) {
  Export files = {{"globalPolicy.txt", policy({"sub/a", "./b"}, {"odd", "plain", "none"}) +
                                           "[condition]\ncondition1=2:*;x\ncondition2=2:y\\z;*\n"
                                           "[inactive]\ninactive1=2:Old\n"},
                  {"sub/a", policy({"c"}, {}, "A")},
                  {"b", policy({}, {}, "B")},
                  {"c", policy({}, {"plain"}, "C")},
                  {"odd", task(131079, "")},
                  {"plain", task(131075, "[classification]\n[setting]\n")}};
  files = changed(files, "globalPolicy.txt", "conditionNum=1:0", "conditionNum=1:3");
  files = changed(files, "globalPolicy.txt", "inactiveNum=1:0", "inactiveNum=1:1");
  files = changed(files, "globalPolicy.txt", "[task3]", "[task4]");
  EXPECT_EQ(import(files), (Lines{no_value("condition.condition3", "globalPolicy.txt"),
                                  "Error [122]: unknown filter 131079",
                                  no_value("task3.filename", "globalPolicy.txt")}));
  Lines const attributes = {":comment=SZ c", ":displayName=SZ d", ":order=DW 1", ":matchType=DW 2"};
  Lines const plain = {":order=DW 1",       ":filter=DW 131075", ":enable=DW 1",
                       ":overridable=DW 0", ":comment=SZ c",     ":displayName=SZ d",
                       "\\Classification",  "\\setting"};
  EXPECT_EQ(stored(kMail),
            (attributes +
             Lines{":condition1=SZ *;x", ":condition2=SZ y\\z;*", "\\inactive:inactive1=SZ Old"} +
             below("\\tasks\\T", plain) +
             below("\\rules\\A", attributes + Lines{"\\inactive", "\\tasks"}) +
             below("\\rules\\A\\rules\\C", attributes + Lines{"\\inactive"} +
                                               below("\\tasks\\T", plain) + Lines{"\\rules"}) +
             below("\\rules\\B", attributes + Lines{"\\inactive", "\\tasks", "\\rules"})));
}

TEST_F(ImportPolicy, LeavesUnreadableBranchesOut) {
  Export const plain = {{"p", policy()}};
  struct {
    std::string file;
    Export files;
    std::string log;
  } const cases[] = {
      {"missing", {}, unreadable(187, "missing")},
      {"", {}, unreadable(187, "")},
      {"../globalPolicy.txt", {}, unreadable(187, "../globalPolicy.txt")},
      {"globalPolicy.txt", {}, unreadable(187, "globalPolicy.txt")},
      {".//./globalPolicy.txt", {}, unreadable(187, ".//./globalPolicy.txt")},
      {"a", {{"a", policy({"b"})}, {"b", policy({"./a"})}}, unreadable(187, "./a")},
      {"p", changed(plain, "p", "name=2:", "name=1:"), no_value("common.name", "p")},
      {"p", changed(plain, "p", "comment=", "x="), no_value("common.comment", "p")},
      {"p", changed(plain, "p", "matchType=1:", "matchType="), no_value("common.matchType", "p")},
      {"p", changed(plain, "p", "taskNum=1:", "taskNum=2:"), no_value("common.taskNum", "p")},
  };
  for (auto [file, files, lines] : cases) {
    SCOPED_TRACE(lines);
    files["globalPolicy.txt"] = policy({file, "good"});
    files["good"] = policy({}, {}, "Good");
    EXPECT_EQ(import(files), Lines{lines});
    Lines rules = stored(kMail + "\\rules");
    std::erase_if(rules, [](auto const& line) { return line.starts_with("\\Good"); });
    EXPECT_EQ(rules.empty(), file != "a") << testing::PrintToString(rules);
  }
  EXPECT_EQ(import({{"globalPolicy.txt", policy({}, {"../t", "t", "p"})}, {"p", policy()}}),
            (Lines{unreadable(83, "../t"), unreadable(83, "t"), no_value("common.filter", "p")}));
  EXPECT_EQ(import({}), Lines{unreadable(187, "globalPolicy.txt")});
  EXPECT_THAT(stored(kRule), testing::Each(testing::Not(testing::HasSubstr("Mail"))));
}

// With a call failing, exactly what depends on it is lost, and the log says why.
TEST_F(ImportPolicy, LosesOnlyWhatDependsOnAFailure) {
  Export files = {{"globalPolicy.txt", policy({}, {"v", "s", "g"}) + "[inactive]\ninactive1=2:I"},
                  {"v", example_task("virus.txt", "V")},
                  {"s", example_task("antispam.txt", "S")},
                  {"g", example_task("project-names.txt", "G")}};
  files = changed(files, "globalPolicy.txt", "inactiveNum=1:0", "inactiveNum=1:1");
  Lines const lists = {":active", ":size", ":l_"};
  struct Case {
    std::string failing;
    Lines log;
    Lines lost;  // what begins so
  };
  std::vector<Case> cases = {
      {"inactive", {unopened(242, "inactive")}, {"\\inactive"}},
      {"tasks", {unopened(267, "tasks")}, Lines{"\\tasks"} + lists},
      {"rules", {unopened(285, "rules")}, {"\\rules"}},
      {"V", {unopened(131, "V")}, {"\\tasks\\V"}},
      {"S", {unopened(415, "S")}, Lines{"\\tasks\\S"} + lists},
      {"G", {unopened(112, "G")}, {"\\tasks\\G"}},
      {"Classification",
       {unopened(36, "Classification"), unopened(56, "Classification"),
        unopened(77, "Classification")},
       {"\\tasks\\V\\Cla", "\\tasks\\V\\set", "\\tasks\\S\\Cla", "\\tasks\\G\\"}},
      {"setting",
       {unopened(89, "setting"), unopened(166, "setting"), unopened(77, "setting")},
       {"\\tasks\\V\\set", "\\tasks\\S\\set", "\\tasks\\G\\set", "\\tasks\\G\\scan"}},
      {"Classification_UI", {unopened(118, "Classification_UI")}, {"\\tasks\\S\\setting\\Cla"}},
      {kLists + "\\", {unopened(197, kLists + "\\")}, lists},
      {"size_noEditWL",
       {refused(258, "nvreg_setValue", "size_noEditWL"),
        error(221, "write sizes of white and black lists failed.")},
       {":size_noEditWL", ":size_editBL", ":size_noEditBL", ":size_subs"}},
  };
  std::pair<std::string, int> const entry_codes[] = {{"editWL", 244}, {"noEditWL", 270},
                                                     {"editBL", 296}, {"noEditBL", 322},
                                                     {"subsWL", 348}, {"subsBL", 374}};
  for (auto const& [list, code] : entry_codes) {
    std::string const entry = "l_" + list + "_1";
    cases.push_back(
        {entry,
         {refused(258, "nvreg_setValue", entry), error(code, "write " + entry + " failed.")},
         {":" + entry}});
  }
  EXPECT_EQ(import(files), Lines{});
  Lines const whole = stored(kMail) + values(kLists);
  for (auto const& [failing, lines, lost] : cases) {
    SCOPED_TRACE(failing);
    EXPECT_EQ(import(files, failing), lines);
    Lines kept = whole;
    std::erase_if(kept, [&lost = lost](std::string const& line) {
      return std::ranges::any_of(lost, [&](auto const& start) { return line.starts_with(start); });
    });
    EXPECT_EQ(stored(kMail) + values(kLists), kept);
  }
  // At the root of it: how many of the two old values are left behind.
  Case const roots[] = {
      {kRule, {unopened(459, kRule)}, {"", ""}},
      {"WhiteBlackLists", {unopened(477, "WhiteBlackLists")}, {""}},
      {"Global", {refused(484, "nvreg_deleteKey", "Global")}, {""}},
      {"Mail", {refused(467, "nvreg_deleteKey", "Mail"), unopened(203, "Mail")}, {""}},
  };
  for (auto const& [failing, lines, old] : roots) {
    EXPECT_EQ(import(files, failing), lines);
    EXPECT_EQ(std::ranges::count(stored(kMail) + values(kLists), ":old=DW 1"), std::ssize(old))
        << failing;
  }
}

TEST_F(ImportPolicy, CorrectsTheDetectionRate) {
  Export const whole = {{"t", example_task("antispam.txt", "T")}};
  std::string const rate = "BaselineDetectionRate=1:";
  std::string const low = "Warning [154]: BaselineDetectionRate changed to 4, original is ";
  struct {
    std::string exported, stored;
    Lines log;
  } const cases[] = {
      {"0", "4", {low + "0"}},
      {"1", "4", {low + "1"}},
      {"2", "2", {}},
      {"5", "5", {}},
      {"6", "1", {"Warning [159]: Invalid BaselineDetectionRate (6), use default value."}},
      {"-1", "1", {"Warning [159]: Invalid BaselineDetectionRate (-1), use default value."}},
      {"4294967299", "3", {}},  // the low 32 bits count, as in the store
  };
  for (auto const& [exported, in_store, lines] : cases) {
    EXPECT_EQ(import_task_text(changed(whole, "t", rate + "3", rate + exported).at("t")), lines);
    EXPECT_THAT(values(kMail), testing::Contains(testing::EndsWith("Rate=DW " + in_store)));
  }
}

TEST_F(ImportPolicy, KeepsTheOtherStepsOfAnAntiSpamTask) {
  Export const whole = {{"t", example_task("antispam.txt", "T")}};
  struct {
    std::string from, to;
    Lines log;
    size_t in_task, in_lists;  // of 6 + 23 + 8 + 28 and 7 + 11 values
  } const cases[] = {
      {"\noverridable", "\nx", {no_value("common.overridable", "t")}, 0, 0},
      {"]\nPassed=",
       "]\nx=",
       {no_value("classification.Passed", "t"), no_value("Classification_UI.Passed", "t")},
       14,
       18},
      {"Path=", "x=", {no_value("setting.ControllingPolicyPath", "t")}, 29, 18},
      {"l_editWL_2", "x", {no_value("blackwhitelist.l_editWL_2", "t")}, 65, 17},
      {"size_noEditWL=1:2", "size_noEditWL=1:1", {}, 65, 17},
      {"size_subsBL=1:2", "size_subsBL=1:0", {}, 65, 16},
      {"size_subsBL",
       "x",
       {no_value("blackwhitelist.size_subsBL", "t"),
        error(216, "read sizes of white and black lists from t failed.")},
       65,
       0},
  };
  for (auto const& [from, to, lines, in_task, in_lists] : cases) {
    SCOPED_TRACE(to + testing::PrintToString(lines));
    EXPECT_EQ(import_task_text(changed(whole, "t", from, to).at("t")), lines);
    EXPECT_EQ(values(kMail + "\\tasks").size(), in_task);
    EXPECT_EQ(values(kLists).size(), in_lists);
  }
  // The lists of a policy lie under the names that its ancestors call it by.
  EXPECT_EQ(import({{"globalPolicy.txt", policy({"a", "a"})},
                    {"a", policy({"b"}, {}, "A")},
                    {"b", policy({}, {"t"}, "B")},
                    {"t", whole.at("t")}}),
            Lines{});
  EXPECT_EQ(values(kLists).size(), 36u);
  for (std::string const& line : values(kLists)) {
    EXPECT_TRUE(line.starts_with("\\N1\\N1:") || line.starts_with("\\N2\\N1:")) << line;
  }
}

TEST_F(ImportPolicy, EndsATaskAtWhatItLacks) {
  std::string const cls = "[classification]\nC=2:x\n", set = "[setting]\nS=1:9\n";
  Lines const classified = {"\\Classification:C=SZ x"};
  Lines const both = classified + Lines{"\\setting:S=DW 9"};
  auto lacks = [](char const* name) {
    return Lines{error(52, std::string("read section ") + name + " from t failed.")};
  };
  struct {
    int filter;
    std::string sections;
    Lines log;
    Lines subkeys;
  } const cases[] = {
      {131075, cls + set, {}, both},
      {131078, cls + set, {}, both},
      {131073,
       cls + set + "[expression7]\nE=3:a;b\n",
       {},
       both + Lines{"\\expression7:E=MS a, b, "}},
      {131075, set, lacks("classification"), {}},
      {131078, cls + "[more]\nM=1:1\n", lacks("setting"), classified},
      {131073, cls + set, lacks("expression"), both},
      {131074, cls + set, lacks("attachment"), both},
      {131076, cls + set + "[sizes]\n", lacks("size"), both},
      {131077, cls + set, lacks("disclaimer"), both},
      {131075,
       cls + "[x]\nA=2:\nB=plain\n" + set,
       {error(130, "read value [x.B] from t failed.")},
       classified},
      {131075,
       "[x]\ny\\z=1:1\n" + cls + set,
       {error(258, reason("REG_FAIL", "nvreg_setValue", "y\\z", NVREG_BAD_NAME))},
       {"\\x"}},
      {65537, cls, {no_value("classification.Mass_Mailing", "t")}, {}},
  };
  for (auto const& [filter, sections, lines, subkeys] : cases) {
    SCOPED_TRACE(std::to_string(filter) + sections);
    EXPECT_EQ(import_task_text(task(filter, sections)), lines);
    Lines const arrived = stored(kMail + "\\tasks\\T");
    ASSERT_GE(arrived.size(), 6u);
    EXPECT_EQ(Lines(arrived.begin() + 6, arrived.end()), subkeys);
  }
}

// Levels cost no stack: a thousand of them fit where a call for each would not.
TEST_F(ImportPolicy, FollowsATreeOfAThousandLevels) {
  Export files;
  std::string leaf = kRule;
  for (int i = 0; i < 1000; ++i) {
    files[i == 0 ? "globalPolicy.txt" : std::to_string(i)] =
        policy({i < 999 ? std::to_string(i + 1) : "missing"});
    leaf += i == 0 ? "\\Mail" : "\\rules\\Mail";
  }
  std::function<void()> work = [&] { EXPECT_EQ(import(files), Lines{unreadable(187, "missing")}); };
  auto const call = [](void* function) -> void* {
    (*static_cast<std::function<void()>*>(function))();
    return nullptr;
  };
  pthread_attr_t small;
  pthread_t thread;
  ASSERT_EQ(pthread_attr_init(&small), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&small, 256 * 1024), 0);
  ASSERT_EQ(pthread_create(&thread, &small, call, &work), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(stored(leaf).size(), 7u);
}

}  // namespace
