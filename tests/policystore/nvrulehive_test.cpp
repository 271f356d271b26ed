// The rule hive over the bundled library and the real server.

#include "nvrulehive.h"

#include <set>

#include "nvaddresslist.h"
#include "nvclassification.h"
#include "policy_store.h"

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
  std::vector<_NvPolTaskAttr> tasks;
  Texts names;
  Texts others;
  NvRuleHive::Outcomes outcomes{{"o", "v"}};

  Failure const hive_failures[] = {
      {DOING(hive.openRule("x")), message("REG_FILE", "nvpol_openRule", "x", kGone)},
      {DOING(hive.openRule("")), message("REG_FILE", "nvpol_openRule", "", NVREG_BAD_NAME)},
      {DOING(hive.openRule("\\x")), fail("nvpol_openRuleByFullName", "\\x", kGone)},
      {DOING(hive.closeRule(none)), empty("closeRule hdl")},
      {DOING(hive.closeTask(none)), empty("closeTask hdl")},
      {DOING(hive.istaskactive("\\", "t")), fail2("nvpol_closeRule", kFailed), "nvpol_closeRule"},
      {DOING(hive.GetTaskAttrib(root, "t", task)), message("REG_FILE2", "nvpol_closeTask", kFailed),
       "nvpol_closeTask"},
      {DOING(hive.createRule(created, none, "r", "", "", "a", "b")), empty("createRule htRule")},
      {DOING(hive.createRule(created, root, "r", "", "", Texts{"a"}, Texts{})),
       message("REG_SIZE1", "createRule:")},
      {DOING(hive.createRule(created, gone, "r", "", "", "a", "b")),
       fail("nvpol_createRule", "r", kGone)},
      {DOING(hive.createRule(created, root, "half", "d", "", Texts{"a", "a;c"}, Texts{"b", "b"})),
       fail("nvpol_createRule", "half", NVREG_BAD_NAME)},
      {DOING(hive.deleteRule(root, "x")), fail("nvpol_deleteRule", "x", kGone)},
      {DOING(hive.GetAllSubRuleName(none, names)), empty("GetAllSubRuleName hParent")},
      {DOING(hive.GetRuleAttrib(none, rule)), empty("GetRuleAttrib htRule")},
      {DOING(hive.GetRuleAttrib("x", rule)),
       message("REG_FILE", "nvpol_openRule", "x", kGone) + empty("GetRuleAttrib hRule")},
      {DOING(hive.GetRuleAttrib(gone, rule)), fail2("nvpol_getRuleAttrib", kGone)},
      {DOING(hive.SetRuleAttrib(none, rule)), empty("SetRuleAttrib hRule")},
      {DOING(hive.SetRuleAttrib(gone, rule)), fail2("nvpol_setRuleAttrib", kGone)},
      {DOING(hive.setruleorder(none, "r", 0)), empty("setruleorder hParent")},
      {DOING(hive.setruleorder(root, "", 0)), message("REG_POSITIVE", "setruleorder: order")},
      {DOING(hive.setruleorder(root, "", 1)), empty("setruleorder iname")},
      {DOING(hive.setruleorder(root, "x", 1)), fail2("nvpol_setRuleOrder", kGone)},
      {DOING(hive.settaskorder(none, "t", 1)), empty("settaskorder hParent")},
      {DOING(hive.settaskorder(root, "t", -1)), message("REG_POSITIVE", "settaskorder: order")},
      {DOING(hive.settaskorder(root, "x", 1)), fail2("nvpol_setTaskOrder", kGone)},
      {DOING(hive.AddCondition(none, "a", "b")), empty("AddCondition hRule")},
      {DOING(hive.AddCondition(root, "a;b", "c")), fail2("nvpol_addCondition", NVREG_BAD_NAME)},
      {DOING(hive.AddCondition(gone, "a", "b")), fail2("nvpol_addCondition", kGone)},
      {DOING(hive.RemoveCondition(none, "a", "b")), empty("RemoveCondition hRule")},
      {DOING(hive.RemoveCondition(root, "a", "b")), fail2("nvpol_removeCondition", kGone)},
      {DOING(hive.GetAllConditions(none, names, others)), empty("GetAllCondition hRule")},
      {DOING(hive.GetAllConditions(gone, names, others)), fail2("nvpol_enumCondition", kGone)},
      {DOING(hive.createTask(none, "t", "", "", 1)), empty("createTask htRule")},
      {DOING(hive.createTask(root, "", "", "", 1)), empty("createTask Taskname")},
      {DOING(hive.createTask(root, "t", "", "", 1)), fail("nvpol_createTask", "t", NVREG_EXISTS)},
      {DOING(hive.createTask(gone, "t", "", "", 1)), fail("nvpol_createTask", "t", kGone)},
      {DOING(hive.deleteTask(none, "t")), empty("deleteTask hdl")},
      {DOING(hive.deleteTask(root, "")), empty("deleteTask taskname")},
      {DOING(hive.deleteTask(root, "x")), fail("nvpol_deleteTask", "x", kGone)},
      {DOING(hive.GetTasksAttrib(none, tasks)), empty("GetAllTaskName htRule")},
      {DOING(hive.GetAllTaskName(gone, names)), fail2("nvpol_enumTask", kGone)},
      {DOING(hive.GetAllTaskName(root, names)), empty("Get task name"), "nvpol_enumTask"},
      {DOING(hive.GetTaskAttrib(none, "t", task)), empty("GetTaskAttrib htRule")},
      {DOING(hive.SetTaskAttrib(none, "t", task)), empty("SetTaskAttrib hdl")},
      {DOING(hive.SetTaskAttrib(root, "x", task)), fail("nvpol_openTask", "x", kGone)},
      {DOING(hive.inactivetask(none, "t", true)), empty("inactivetask hRule")},
      {DOING(hive.inactivetask(root, "", true)), empty("inactivetask taskname")},
      {DOING(hive.inactivetask(gone, "t", true)), fail2("nvpol_inactiveTask", kGone)},
      {DOING(hive.istaskactive(none, "t")), empty("istaskactive hRule")},
      {DOING(hive.istaskactive(root, "")), empty("istaskactive taskname")},
      {DOING(hive.istaskactive(gone, "t")), fail2("nvpol_isTaskActive", kGone)},
      {DOING(hive.addoutcome(none, "t", "o", "v")), empty("addoutcome hRule")},
      {DOING(hive.addoutcome(none, "o", "v")), empty("addoutcome hTask")},
      {DOING(hive.addoutcomes(root, "", outcomes)), empty("taskname")},
      {DOING(hive.addoutcome(root, "t", "", "v")), fail2("nvpol_addOutcome", NVREG_BAD_NAME)},
      {DOING(hive.addoutcome(gone, "o", "v")), fail2("nvpol_addOutcome", kGone)},
      {DOING(hive.deleteoutcome(none, "t", "o")), empty("deleteoutcome hRule")},
      {DOING(hive.deleteoutcome(none, "o")), empty("deleteoutcome hTask")},
      {DOING(hive.deleteoutcome(root, "t", "o")), fail("nvpol_deleteOutcome", "o", kGone)},
      {DOING(hive.getoutcome(none, "t", outcomes)), empty("getoutcome hRule")},
      {DOING(hive.getoutcomes(none, outcomes)), empty("getoutcome hTask")},
      {DOING(hive.getoutcome(root, "", outcomes)), empty("getoutcome taskname")},
      // No half rule is left, and no rule has come back.
      {DOING(hive.GetAllSubRuleName(names)), message("REG_NOSUBPOLICY")},
      {DOING(hive.closeRuleHive()), fail2("nvpol_closeRuleHive", kFailed), "nvpol_closeRuleHive"},
  };
  expect_failures(hive, hive_failures);
  EXPECT_THAT(names, ElementsAre("u")) << "an unnamed task hides no other";
  EXPECT_EQ(hive.closeRule(gone), 0);
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
  std::vector<_NvPolTaskAttr> tasks;
  NvRuleHive::Outcomes outcomes;
  Texts addresses;
  EXPECT_EQ(hive.GetRuleAttrib("\\", root), 0);
  EXPECT_STREQ(root.displayName, "Global policy");
  EXPECT_EQ(hive.GetTasksAttrib("\\", tasks), 0);
  ASSERT_EQ(tasks.size(), 1u);
  EXPECT_EQ(tasks[0].filter, 0x10001u);
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
  set(root + "\\rules\\" + long_name, "condition1", "Guests;*");

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
  zeva::set_field(rule.displayName, std::string(256, 'd'));
  zeva::set_field(rule.comment, std::string(512, 'c'));
  testing::internal::CaptureStdout();
  printRuleattr(rule);
  printTaskattr({"a", "b", 3, 0x10001, 1, 0, 7});
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "displayName = " + std::string(256, 'd') + "\ncomment = " + std::string(512, 'c') +
                "\nmatchType = 0x0000002a\norder = -1\n"
                "displayName = a\ncomment = b\nfilter = 0x00010001\norder = 3\nenable = 1\n"
                "overridable = 0\n");
}

// The random walk: what the tree should hold.
struct TaskModel {
  std::string displayname;
  std::string comment;
  uint32_t filter = 0;
  int32_t order = 0;
  NvRuleHive::Outcomes outcomes{};
  bool operator==(TaskModel const&) const = default;
};
struct RuleModel {
  std::string displayname;
  std::string comment;
  int32_t order = 0;
  std::vector<std::pair<std::string, std::string>> conditions{};
  Ordered<TaskModel> tasks{};
  std::set<std::string> inactive{};
  Ordered<RuleModel> rules{};
  bool operator==(RuleModel const&) const = default;
};

class RuleWalk : public HiveWalk<NvRuleHive> {
 protected:
  RuleWalk() { OpenKey root(registry_, kPolicy + "\\Rule\\Mail"); }

  // To some rule, by its path or by its handle.
  bool step() override {
    RuleModel* rule = &model_;
    std::string path = "\\";
    while (!rule->rules.empty() && dice_.below(3) > 0) {
      auto& [name, below] = rule->rules[dice_.below(rule->rules.size())];
      path += name + "\\";
      rule = &below;
    }
    if (dice_.below(2) == 0) return act(path, *rule);
    Handle opened = hive_->openRule(path);
    bool const agreed = opened && act(opened, *rule);
    return hive_->closeRule(opened) == 0 && agreed;
  }

  template <typename Rule>
  bool act(Rule const& rule, RuleModel& held) {
    std::string const name = dice_.name();
    int32_t const order = static_cast<int32_t>(dice_.below(5)) - 1;
    switch (dice_.below(9)) {
      case 0: {
        std::string const shown = dice_.text();
        Texts const sides(dice_.below(20) == 0 ? 100 : 1, dice_.text());
        Handle made = nullptr;
        bool const done = hive_->createRule(made, rule, name, shown, shown, sides, sides) >= 0;
        if (made) hive_->closeRule(made);
        std::string const cut = shown.substr(0, 256), side = sides[0].substr(0, 512);
        return done == held.rules.add(name, {cut, cut, 0, {sides.size(), {side, side}}});
      }
      case 1: {
        _NvPolRuleAttr attr{};
        attr.order = held.order = dice_.number();
        zeva::set_field(attr.displayName, held.displayname = "changed");
        held.comment.clear();
        return hive_->SetRuleAttrib(rule, attr) >= 0;
      }
      case 2: {
        RuleModel* below = order > 0 ? held.rules.find(name) : nullptr;
        if (below) below->order = order;
        return (hive_->setruleorder(rule, name, order) >= 0) == (below != nullptr);
      }
      case 3: {
        std::pair const sides("f" + std::to_string(dice_.below(3)),
                              "t;" + std::to_string(dice_.below(3)));
        if (dice_.below(2) == 0)
          return (hive_->RemoveCondition(rule, sides.first, sides.second) >= 0) ==
                 remove_first(held.conditions, sides);
        held.conditions.push_back(sides);
        return hive_->AddCondition(rule, sides.first, sides.second) >= 0;
      }
      case 4:
        return dice_.below(6) == 0
                   ? (hive_->deleteRule(rule, name) >= 0) == held.rules.remove(name)
                   : (hive_->deleteTask(rule, name) >= 0) == held.tasks.remove(name);
      case 5: {
        std::string const shown = dice_.text();
        auto const filter = static_cast<uint32_t>(dice_.number());
        std::string const cut = shown.substr(0, 256);
        return (hive_->createTask(rule, name, shown, shown, filter) >= 0) ==
               held.tasks.add(name, {cut, cut, filter});
      }
      case 6: {
        bool const inactive = dice_.below(2) == 0;
        bool const fits = !name.empty() && name.find('\\') == name.npos;
        if (fits && inactive) held.inactive.insert(name);
        if (!inactive) held.inactive.erase(name);
        return (hive_->inactivetask(rule, name, inactive) >= 0) == fits;
      }
      default:
        return change_task(rule, held.tasks.find(name), name, order);
    }
  }

  template <typename Rule>
  bool change_task(Rule const& rule, TaskModel* held, std::string const& name, int32_t order) {
    std::string const finding = "o" + std::to_string(dice_.below(4));
    switch (dice_.below(4)) {
      case 0:
        if (held && order > 0) held->order = order;
        return (hive_->settaskorder(rule, name, order) >= 0) == (held && order > 0);
      case 1:
        return (hive_->deleteoutcome(rule, name, finding) >= 0) ==
               (held && held->outcomes.erase(finding) > 0);
      case 2: {
        std::string const value = dice_.text();
        if (held) held->outcomes[finding] = value;
        return (hive_->addoutcome(rule, name, finding, value) >= 0) == (held != nullptr);
      }
      default: {
        _NvPolTaskAttr attr{};
        attr.filter = 9;
        attr.reserved = 1;
        if (held) *held = {"", "", 9, 0, held->outcomes};
        return (hive_->SetTaskAttrib(rule, name, attr) >= 0) == (held != nullptr);
      }
    }
  }

  bool agrees() override { return read("\\") == model_; }

  RuleModel read(std::string const& path) {
    SCOPED_TRACE(path);
    RuleModel found;
    Handle rule = hive_->openRule(path);
    _NvPolRuleAttr attr{};
    EXPECT_EQ(hive_->GetRuleAttrib(rule, attr), 0);
    found.displayname = zeva::field_text(attr.displayName);
    found.comment = zeva::field_text(attr.comment);
    found.order = attr.order;
    Texts from, to, tasks, rules;
    EXPECT_EQ(hive_->GetAllConditions(rule, from, to), 0);
    for (size_t i = 0; i < from.size(); ++i) found.conditions.emplace_back(from[i], to.at(i));
    std::vector<_NvPolTaskAttr> attrs;
    EXPECT_EQ(hive_->GetAllTaskName(rule, tasks), 0);
    EXPECT_EQ(hive_->GetTasksAttrib(rule, attrs), 0);
    for (size_t i = 0; i < tasks.size(); ++i) {
      _NvPolTaskAttr const& task = attrs.at(i);
      found.tasks.emplace_back(
          tasks[i], TaskModel{zeva::field_text(task.displayName), zeva::field_text(task.comment),
                              task.filter, task.order});
      EXPECT_EQ(hive_->getoutcomes(rule, tasks[i], found.tasks[i].second.outcomes), 0);
    }
    for (std::string const& name : Dice::kNames)
      if (hive_->istaskactive(rule, name) == 0) found.inactive.insert(name);
    long const listed = hive_->GetAllSubRuleName(rule, rules);
    EXPECT_EQ(listed, rules.empty() ? -1 : 0);
    EXPECT_EQ(hive_->closeRule(rule), 0);
    for (std::string const& name : rules) found.rules.emplace_back(name, read(path + name + "\\"));
    return found;
  }

  RuleModel model_;
};

TEST_F(RuleWalk, AgreesWithAPlainModel) {
  walk();
}

}  // namespace
