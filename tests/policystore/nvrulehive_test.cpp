// The rule hive over the bundled library and the real server.

#include "nvrulehive.h"

#include "nvaddresslist.h"
#include "nvclassification.h"
#include "policy_store.h"
#include "textfield.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

class RuleHive : public PolicyStoreTest {
 protected:
  RuleHive() { OpenKey root(registry_, kPolicy + "\\Rule\\Mail"); }
};

TEST_F(RuleHive, WithoutAHiveNothingOpens) {
  NvRuleHive closed;
  Handle created = nullptr;
  NvRuleHive rootless(kPolicy + "\\elsewhere", home_.address());
  EXPECT_EQ(rootless.geterror(), fail2("nvpol_openRootRule", kGone));
  Failure const closed_failures[] = {
      {DOING(closed.openRule("r")), empty("ahive")},
      {DOING(closed.deleteTask("r", "t")), empty("ahive") + empty("deleteTask hdl")},
      {DOING((closed.setfile(kPolicy, home_.address()), -1l)),
       fail2("nvpol_openRuleHive", NVREG_BAD_ARGUMENT), "nvpol_openRuleHive"},
  };
  expect_failures(closed, closed_failures);
  Failure const rootless_failures[] = {
      {DOING(rootless.openRule("\\r")), empty("hRootRule")},
      {DOING(rootless.createRule(created, "p", "n", "d", "", Texts(101, "a"), Texts(101, "b"))),
       message("REG_SIZE2", "createRule:")},
  };
  expect_failures(rootless, rootless_failures);
}

// Each closes what it has open; what fails there for want of memory goes unrecorded.
TEST_F(RuleHive, EndsWithoutMemoryAsEveryWrapperDoes) {
  auto hive = std::make_unique<NvRuleHive>(kPolicy, home_.address());
  auto classes = std::make_unique<NvClassification>(kPolicy, home_.address());
  auto lists = std::make_unique<NvAddresslist>(kPolicy, home_.address());
  out_of_memory = true;
  hive.reset();
  classes.reset();
  lists.reset();
  out_of_memory = false;
}

TEST_F(RuleHive, RecordsEachFailureByItsNameAndTexts) {
  NvRuleHive hive(kPolicy, home_.address());
  Handle const none = nullptr;
  Handle const root = hive.getRootRule();
  Handle created = nullptr;
  ASSERT_EQ(hive.createRule(created, root, "gone", "d", "", "a", "b"), 0);
  Handle const gone = created;
  ASSERT_EQ(hive.deleteRule(root, "gone"), 0);
  ASSERT_EQ(hive.createTask(root, "t", "d", "", 1), 0);
  ASSERT_EQ(hive.createTask(root, "u", "d", "", 1), 0);
  _NvPolRuleAttr rule{};
  _NvPolTaskAttr task{};
  Texts names;

  Failure const hive_failures[] = {
      {DOING(hive.openRule("x")), message("REG_FILE", "nvpol_openRule", "x", kGone)},
      {DOING(hive.openRule("")), message("REG_FILE", "nvpol_openRule", "", NVREG_BAD_NAME)},
      {DOING(hive.openRule("\\x")), fail("nvpol_openRuleByFullName", "\\x", kGone)},
      {DOING(hive.closeRule(none)), empty("closeRule hdl")},
      {DOING(hive.istaskactive("\\", "t")), fail2("nvpol_closeRule", kFailed), "nvpol_closeRule"},
      {DOING(hive.GetTaskAttrib(root, "t", task)), message("REG_FILE2", "nvpol_closeTask", kFailed),
       "nvpol_closeTask"},
      {DOING(hive.createRule(created, root, "r", "", "", Texts{"a"}, Texts{})),
       message("REG_SIZE1", "createRule:")},
      {DOING(hive.createRule(created, root, "half", "d", "", Texts{"a", "a;c"}, Texts{"b", "b"})),
       fail("nvpol_createRule", "half", NVREG_BAD_NAME)},
      {DOING(hive.deleteRule(root, "")), empty("deleteRule rulename")},
      {DOING(hive.GetRuleAttrib("x", rule)),
       message("REG_FILE", "nvpol_openRule", "x", kGone) + empty("GetRuleAttrib hRule")},
      {DOING(hive.setruleorder(root, "", 0)), message("REG_POSITIVE", "setruleorder: order")},
      {DOING(hive.AddCondition(root, "a;b", "c")), fail2("nvpol_addCondition", NVREG_BAD_NAME)},
      {DOING(hive.GetAllConditions(gone, names, names)), fail2("nvpol_enumCondition", kGone)},
      {DOING(hive.createTask(root, "t", "", "", 1)), fail("nvpol_createTask", "t", NVREG_EXISTS)},
      {DOING(hive.GetAllTaskName(root, names)), empty("Get task name"), "nvpol_enumTask"},
      {DOING(hive.inactivetask(gone, "t", true)), fail2("nvpol_inactiveTask", kGone)},
      {DOING(hive.addoutcome(root, "", "o", "v")), empty("taskname")},
      {DOING(hive.addoutcome(root, "t", "", "v")), fail2("nvpol_addOutcome", NVREG_BAD_NAME)},
      {DOING(hive.deleteoutcome(root, "t", "o")), fail("nvpol_deleteOutcome", "o", kGone)},
      // No half rule is left, and no rule has come back.
      {DOING(hive.GetAllSubRuleName(names)), message("REG_NOSUBPOLICY")},
      {DOING(hive.closeRuleHive()), fail2("nvpol_closeRuleHive", kFailed), "nvpol_closeRuleHive"},
  };
  expect_failures(hive, hive_failures);
  EXPECT_THAT(names, ElementsAre("u")) << "an unnamed task hides no other";
  EXPECT_EQ(hive.closeRule(gone), 0);
}

// Each operation once on a rule given by its name and once on one given by its handle.
TEST_F(RuleHive, KeepsWhatItIsGiven) {
  NvRuleHive hive(kPolicy, home_.address());
  std::string const long_text(600, 'x');
  auto make = [&](auto const& parent, std::string const& name, std::string const& text,
                  Texts const& sides) {
    Handle made = nullptr;
    EXPECT_EQ(hive.createRule(made, parent, name, text, text, sides, sides), 0) << name;
    EXPECT_EQ(hive.closeRule(made), 0);
  };
  auto fill = [&](auto const& rule) {
    for (char const* name : {"gone", "kept"}) {
      make(rule, name, long_text, {long_text});
      EXPECT_EQ(hive.createTask(rule, name, long_text, long_text, 0x10001), 0);
      EXPECT_EQ(hive.inactivetask(rule, name, true), 0);
      EXPECT_EQ(hive.addoutcomes(rule, "gone", {{"Worm", name}, {"Joke", "j"}}), 0);
      EXPECT_EQ(hive.AddCondition(rule, name, "a;b"), 0);
    }
    _NvPolRuleAttr attr{};
    attr.order = 3;
    attr.matchType = 4;
    zeva::fill_field(attr.displayName, "changed");
    EXPECT_EQ(hive.SetRuleAttrib(rule, attr), 0);
    _NvPolTaskAttr task{};
    task.filter = 9;
    task.enable = 1;
    EXPECT_EQ(hive.SetTaskAttrib(rule, "gone", task), 0);
    NvRuleHive::Outcomes outcomes;
    std::vector<_NvPolTaskAttr> tasks;
    EXPECT_EQ(hive.deleteoutcome(rule, "gone", "Joke"), 0);
    EXPECT_EQ(hive.getoutcomes(rule, "gone", outcomes), 0);
    EXPECT_THAT(outcomes, ElementsAre(Pair("Worm", "kept")));
    EXPECT_EQ(hive.setruleorder(rule, "kept", 5), 0);
    EXPECT_EQ(hive.settaskorder(rule, "kept", 1), 0);
    EXPECT_EQ(hive.GetTasksAttrib(rule, tasks), 0);
    ASSERT_EQ(tasks.size(), 2u);
    EXPECT_EQ(tasks[0].filter, 9u);
    EXPECT_EQ(tasks[0].enable, 1);
    EXPECT_EQ(zeva::read_field(tasks[1].displayName), long_text.substr(0, 256));
    EXPECT_EQ(tasks[1].order, 1);
    EXPECT_EQ(hive.inactivetask(rule, "gone", false), 0);
    EXPECT_EQ(hive.istaskactive(rule, "gone"), 1);
    EXPECT_EQ(hive.RemoveCondition(rule, "gone", "a;b"), 0);
    EXPECT_EQ(hive.deleteTask(rule, "gone"), 0);
    EXPECT_EQ(hive.deleteRule(rule, "gone"), 0);
  };
  for (char const* name : {"by name", "by handle"}) make("\\", name, "", Texts(100, "f"));
  fill("by name");
  Handle const opened = hive.openRule("by handle");
  fill(opened);
  EXPECT_EQ(hive.closeRule(opened), 0);

  auto texts = [](std::string const& comment, std::string const& shown) {
    return "    string,   comment=" + comment + "\n    string,   displayName=" + shown + "\n";
  };
  std::string const text = long_text.substr(0, 256), side = long_text.substr(0, 512);
  std::string conditions;
  for (int i = 1; i <= 100; ++i)
    conditions += "    string,   condition" + std::to_string(i) + "=f;f\n";
  std::string const expected =
      "test\n" + texts("", "changed") + "    dword,   order=3\n    dword,   matchType=4\n" +
      conditions + "    string,   condition101=kept;a;b\ntest\\rules\ntest\\rules\\kept\n" +
      texts(text, text) + "    dword,   order=5\n    dword,   matchType=0\n" +
      "    string,   condition1=" + side + ";" + side + "\ntest\\tasks\ntest\\tasks\\kept\n" +
      "    dword,   order=1\n    dword,   filter=65537\n    dword,   enable=0\n" +
      "    dword,   overridable=0\n" + texts(text, text) +
      "test\\inactive\n    string,   inactive1=kept\n";
  for (char const* name : {"by name", "by handle"})
    EXPECT_EQ(dump(kPolicy + "\\Rule\\Mail\\rules\\" + name), expected) << name;
}

TEST_F(RuleHive, ReadsWhatAnImporterWrote) {
  std::string const long_sender(600, 's'), long_recipient(600, 'r');
  std::string const long_finding(1000, 'f'), long_class(3000, 'c'), longest(NVREG_MAX_NAME, 'n');
  for (auto const& [path, name, value] : std::initializer_list<std::array<std::string, 3>>{
           {"\\rules\\" + longest, "comment", ""},
           {"\\tasks\\" + longest, "comment", ""},
           {"", "condition1", "only"},
           {"", "condition2", ";"},
           {"", "condition3", long_sender + ";" + long_recipient},
           {"\\tasks\\AV\\Classification", "Worm", "Delete"},
           {"\\tasks\\AV\\Classification", "", "nameless"},
           {"\\tasks\\AV\\Classification", long_finding, "Keep"},
           {"\\inactive", "inactive1", "AV"},
           {"\\rules\\A\\rules\\B", "displayName", "deep"}})
    set(kPolicy + "\\Rule\\Mail" + path, name, value);
  NvRuleHive hive(kPolicy, home_.address());
  Texts from, to, names;
  EXPECT_EQ(hive.GetAllConditions("\\", from, to), -1);
  EXPECT_EQ(hive.geterror(), empty("Get condition"));
  EXPECT_THAT(from, ElementsAre("only", std::string(512, 's')));
  EXPECT_THAT(to, ElementsAre("", std::string(512, 'r')));
  EXPECT_EQ(hive.RemoveCondition("\\", from[1], to[1]), 0);
  NvRuleHive::Outcomes outcomes{{"Worm", ""}, {"Joke", ""}, {"Spam", ""}};
  EXPECT_EQ(hive.addoutcome("\\", "AV", "Spam", long_class), 0);
  EXPECT_EQ(hive.getoutcome("\\", "AV", outcomes), 0);
  EXPECT_THAT(outcomes,
              ElementsAre(Pair("Joke", "void"), Pair("Spam", long_class), Pair("Worm", "Delete")));
  outcomes.clear();
  EXPECT_EQ(hive.getoutcomes("\\", "AV", outcomes), -1);
  EXPECT_EQ(hive.geterror(), empty("setoutcomes get task"));
  EXPECT_THAT(outcomes, ElementsAre(Pair("Spam", long_class), Pair("Worm", "Delete"),
                                    Pair(long_finding, "Keep")));
  EXPECT_EQ(hive.istaskactive("\\", "AV"), 0);
  for (char const* path : {"A\\B", "\\A\\B", "\\\\A\\\\B\\"}) {
    _NvPolRuleAttr attr{};
    EXPECT_EQ(hive.GetRuleAttrib(path, attr), 0) << path;
    EXPECT_STREQ(attr.displayName, "deep") << path;
  }
  EXPECT_EQ(hive.GetAllSubRuleName(names), 0);
  EXPECT_EQ(hive.GetAllTaskName("\\", names), 0);
  EXPECT_THAT(names, ElementsAre(longest, "A", longest, "AV"));
}

TEST_F(RuleHive, ReadsWhatANewGatewayHolds) {
  NvRuleHive hive("registry\\policy", home_.address());
  NvClassification classes("registry\\policy", home_.address());
  NvAddresslist lists("registry\\policy", home_.address());
  _NvPolRuleAttr root;
  _NvPolTaskAttr task;
  NvRuleHive::Outcomes outcomes;
  Texts addresses;
  EXPECT_EQ(hive.GetRuleAttrib("\\", root), 0);
  EXPECT_STREQ(root.displayName, "Global policy");
  EXPECT_EQ(hive.GetTaskAttrib("\\", "VirusScan", task), 0);
  EXPECT_EQ(task.filter, 0x10001u);
  EXPECT_EQ(hive.getoutcomes("\\", "VirusScan", outcomes), 0);
  EXPECT_EQ(outcomes.size(), 8u);
  for (auto const& [finding, name] : outcomes) {
    std::vector<Nvactionattr> actions;
    Handle group = classes.openclass(name);
    EXPECT_EQ(classes.getallaction(group, actions), 0) << finding;
    EXPECT_EQ(actions[0].displayname, name);
    EXPECT_EQ(actions[0].actiontype >> 16, 1);
    EXPECT_EQ(classes.closeclass(group), 0);
  }
  EXPECT_EQ(lists.getaddress("Administrators", addresses), 0);
  EXPECT_THAT(addresses, ElementsAre("postmaster@localhost"));
}

TEST_F(RuleHive, KeepsWhatARuleRefersToInATreeOfAnyDepth) {
  std::string const root = kPolicy + "\\Rule\\Mail", long_name(200, 'n');
  std::string bottom = root;
  for (int depth = 0; depth < 1000; ++depth) bottom += "\\rules\\deep";
  bottom += "\\rules\\bottom";
  set(bottom + "\\tasks\\t\\Classification", "Passed", "Keep");
  set(bottom, "condition1", "*;Staff");
  for (std::string const& name : {long_name, std::string("later")})
    set(root + "\\rules\\" + name, "condition1", "Guests;*");

  NvClassification classes(kPolicy, home_.address());
  NvAddresslist lists(kPolicy, home_.address());
  for (char const* name : {"Keep", "Staff"}) {
    Handle made = classes.createclass(name, "d", "");
    EXPECT_EQ(classes.closeclass(made), 0);
    EXPECT_EQ(lists.createaddrlist(name, {}), 0);
  }
  auto referred = [](char const* name, std::string const& rule) {
    return message("REG_REFERENCE", "nvpol_checkReferInRule", name, rule);
  };
  Failure const kept_classes[] = {
      {DOING(classes.deleteclass("Keep")), referred("Keep", "bottom")},
      {DOING(classes.deleteclass("Passed")), fail("nvpol_deleteClassification", "Passed", kGone)}};
  expect_failures(classes, kept_classes);
  Failure const kept_lists[] = {
      {DOING(lists.deleteaddrlist("Staff")), referred("Staff", "bottom")},
      {DOING(lists.deleteaddrlist("Guests")), referred("Guests", long_name.substr(0, 127))},
      {DOING(lists.deleteaddrlist("Staf")), fail("nvpol_deleteAddrList", "Staf", kGone)}};
  expect_failures(lists, kept_lists);
  EXPECT_EQ(classes.deleteclass("Staff"), 0);
  EXPECT_EQ(lists.deleteaddrlist("Keep"), 0);
  set(root, "condition1", "Staff;*");
  EXPECT_EQ(lists.deleteaddrlist("Staff"), -1);
  EXPECT_EQ(lists.geterror(), referred("Staff", "Mail")) << "the root rule comes first";
}

TEST(RuleRecords, ArePrintedWithoutTerminators) {
  _NvPolRuleAttr rule{{}, {}, -1, 0x2a};
  zeva::fill_field(rule.displayName, std::string(256, 'd'));
  testing::internal::CaptureStdout();
  printRuleattr(rule);
  printTaskattr({"a", "b", 3, 0x10001, 1, 0, 7});
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "displayName = " + std::string(256, 'd') +
                "\ncomment = \nmatchType = 0x0000002a\norder = -1\ndisplayName = a\ncomment = b\n"
                "filter = 0x00010001\norder = 3\nenable = 1\noverridable = 0\n");
}

}  // namespace
