// The rule hive over the bundled library and the real server.

#include "nvrulehive.h"

#include <memory>
#include <set>

#include "importers.h"
#include "nvaddresslist.h"
#include "nvclassification.h"
#include "policy_store.h"
#include "runlog.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

class RuleHive : public PolicyStoreTest {
 protected:
  RuleHive() { OpenKey root(registry_, kPolicy + "\\Rule\\Mail"); }
};

TEST_F(RuleHive, WithoutAHiveNothingOpens) {
  NvRuleHive closed;
  _NvPolComHandle* created = nullptr;
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

TEST_F(RuleHive, RecordsEachFailureByItsNameAndTexts) {
  NvRuleHive hive(kPolicy, home_.address());
  _NvPolComHandle* const none = nullptr;
  _NvPolComHandle* const root = hive.getRootRule();
  _NvPolComHandle* created = nullptr;
  ASSERT_EQ(hive.createRule(created, root, "gone", "d", "", "a", "b"), 0);
  _NvPolComHandle* const gone = created;
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
      {DOING(hive.deleteRule(root, "x")), fail("nvpol_deleteRule", "x", kGone)},
      {DOING(hive.GetAllSubRuleName(none, names)), empty("GetAllSubRuleName hParent")},
      {DOING(hive.GetAllSubRuleName(names)), message("REG_NOSUBPOLICY")},
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
      {DOING(hive.RemoveCondition(none, "a", "b")), empty("RemoveCondition hRule")},
      {DOING(hive.RemoveCondition(root, "a", "b")), fail2("nvpol_removeCondition", kGone)},
      {DOING(hive.GetAllConditions(none, names, others)), empty("GetAllCondition hRule")},
      {DOING(hive.GetAllConditions(gone, names, others)), fail2("nvpol_enumCondition", kGone)},
      {DOING(hive.createTask(none, "t", "", "", 1)), empty("createTask htRule")},
      {DOING(hive.createTask(root, "", "", "", 1)), empty("createTask Taskname")},
      {DOING(hive.createTask(root, "t", "", "", 1)), fail("nvpol_createTask", "t", NVREG_EXISTS)},
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
      {DOING(hive.deleteoutcome(none, "t", "o")), empty("deleteoutcome hRule")},
      {DOING(hive.deleteoutcome(none, "o")), empty("deleteoutcome hTask")},
      {DOING(hive.deleteoutcome(root, "t", "o")), fail("nvpol_deleteOutcome", "o", kGone)},
      {DOING(hive.getoutcome(none, "t", outcomes)), empty("getoutcome hRule")},
      {DOING(hive.getoutcomes(none, outcomes)), empty("getoutcome hTask")},
      {DOING(hive.getoutcome(root, "", outcomes)), empty("getoutcome taskname")},
      {DOING(hive.closeRuleHive()), fail2("nvpol_closeRuleHive", kFailed), "nvpol_closeRuleHive"},
  };
  expect_failures(hive, hive_failures);
  EXPECT_THAT(names, ElementsAre("u")) << "an unnamed task hides no other";
  EXPECT_EQ(hive.closeRule(gone), 0);
}

TEST_F(RuleHive, ReadsWhatAnImporterWrote) {
  for (auto const& [path, name, value] : std::initializer_list<std::array<std::string, 3>>{
           {"", "condition1", "*;Staff"},
           {"", "condition2", ";"},
           {"", "condition3", "Staff;*"},
           {"\\tasks\\AV\\Classification", "Worm", "Delete"},
           {"\\tasks\\AV\\Classification", "", "nameless"},
           {"\\inactive", "inactive1", "AV"},
           {"\\rules\\A\\rules\\B", "displayName", "deep"},
           {"\\rules\\" + std::string(200, 'n'), "comment", ""}}) {
    Nvregentry entry(name, NVREG_STRING, value);
    ASSERT_EQ(registry_.nvsetentry(kPolicy + "\\Rule\\Mail" + path, entry), 0);
  }
  NvRuleHive hive(kPolicy, home_.address());
  Texts from;
  Texts to;
  EXPECT_EQ(hive.GetAllConditions("\\", from, to), -1);
  EXPECT_EQ(hive.geterror(), empty("Get condition"));
  EXPECT_THAT(from, ElementsAre("*", "Staff"));
  EXPECT_THAT(to, ElementsAre("Staff", "*"));
  NvRuleHive::Outcomes outcomes{{"Worm", ""}, {"Joke", ""}};
  EXPECT_EQ(hive.getoutcome("\\", "AV", outcomes), 0);
  EXPECT_THAT(outcomes, ElementsAre(Pair("Joke", "void"), Pair("Worm", "Delete")));
  outcomes.clear();
  EXPECT_EQ(hive.getoutcomes("\\", "AV", outcomes), -1);
  EXPECT_EQ(hive.geterror(), empty("setoutcomes get task"));
  EXPECT_THAT(outcomes, ElementsAre(Pair("Worm", "Delete")));
  EXPECT_EQ(hive.istaskactive("\\", "AV"), 0);
  _NvPolRuleAttr attr;
  EXPECT_EQ(hive.GetRuleAttrib("\\A\\B", attr), 0);
  EXPECT_STREQ(attr.displayName, "deep");
  Texts names;
  EXPECT_EQ(hive.GetAllSubRuleName(names), -1) << "a name that does not fit";
  EXPECT_EQ(hive.geterror(), fail2("nvpol_enumRule", NVREG_BUFFER_TOO_SMALL));
  EXPECT_THAT(names, ElementsAre("A"));
}

TEST_F(RuleHive, ReadsTheImportedExample) {
  SetDebugLogFileName((home_.path() + "/migration.log").c_str());
  ASSERT_EQ(import_filter_action(EXAMPLE_FOLDER, home_.address().c_str()), 0);
  ASSERT_EQ(import_policy(EXAMPLE_FOLDER, home_.address().c_str()), 0);
  NvRuleHive hive("registry\\policy", home_.address());
  Texts rules, tasks, from, to;
  EXPECT_EQ(hive.GetAllSubRuleName(rules), 0);
  EXPECT_THAT(rules, ElementsAre("HeadOffice", "Cardiff"));
  EXPECT_EQ(hive.GetAllTaskName("Cardiff", tasks), 0);
  EXPECT_THAT(tasks, ElementsAre("VirusScanCardiff", "AntiSpamCardiff", "DisclaimerCardiff"));
  _NvPolTaskAttr task;
  EXPECT_EQ(hive.GetTaskAttrib("Cardiff", "VirusScanCardiff", task), 0);
  EXPECT_STREQ(task.displayName, "Sgan firysau (Caerdydd)");
  EXPECT_EQ(task.filter, 0x10001u);
  NvRuleHive::Outcomes outcomes;
  EXPECT_EQ(hive.getoutcomes("Cardiff", "VirusScanCardiff", outcomes), 0);
  EXPECT_EQ(outcomes.size(), 8u);
  EXPECT_EQ(outcomes["BOT_Virus"], "Delete");
  EXPECT_EQ(hive.istaskactive("Cardiff", "AntiSpam"), 0);
  EXPECT_EQ(hive.istaskactive("Cardiff", "VirusScanCardiff"), 1);
  EXPECT_EQ(hive.GetAllConditions("\\HeadOffice\\Finance\\Payroll", from, to), 0);
  EXPECT_THAT(from, ElementsAre("Partners", "payroll@example.com"));
  EXPECT_THAT(to, ElementsAre("payroll@example.com", "Partners"));

  NvClassification classes("registry\\policy", home_.address());
  EXPECT_EQ(classes.deleteclass("Archive"), -1);
  EXPECT_THAT(classes.geterror(), testing::HasSubstr("Directors"));
  NvAddresslist lists("registry\\policy", home_.address());
  EXPECT_EQ(lists.deleteaddrlist("Partners"), -1);
  EXPECT_THAT(lists.geterror(), testing::HasSubstr("Payroll"));
}

TEST_F(RuleHive, TakesAHundredConditionsAndPrintsRecords) {
  NvRuleHive hive(kPolicy, home_.address());
  _NvPolComHandle* rule = nullptr;
  Texts const sides(100, std::string(600, 's'));
  ASSERT_EQ(
      hive.createRule(rule, "\\", "r", std::string(300, 'd'), std::string(300, 'c'), sides, sides),
      0);
  Texts from;
  Texts to;
  EXPECT_EQ(hive.GetAllConditions(rule, from, to), 0);
  EXPECT_EQ(from, Texts(100, std::string(512, 's')));
  EXPECT_EQ(to, from);
  _NvPolRuleAttr attr;
  EXPECT_EQ(hive.GetRuleAttrib("r", attr), 0);
  attr.order = -1;
  attr.matchType = 0x2a;
  testing::internal::CaptureStdout();
  printRuleattr(attr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "displayName = " + std::string(256, 'd') +
                                                        "\ncomment = " + std::string(256, 'c') +
                                                        "\nmatchType = 0x0000002a\norder = -1\n");
  testing::internal::CaptureStdout();
  printTaskattr({"a", "b", 3, 0x10001, 1, 0, 7});
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "displayName = a\ncomment = b\nfilter = 0x00010001\norder = 3\nenable = 1\n"
            "overridable = 0\n");
  EXPECT_EQ(hive.closeRule(rule), 0);
}

// The random walk: what the tree should hold.
struct TaskModel {
  std::string displayname;
  uint32_t filter = 0;
  int32_t order = 0;
  NvRuleHive::Outcomes outcomes;
};
struct RuleModel {
  std::string displayname;
  int32_t order = 0;
  Texts from;
  Texts to;
  Ordered<TaskModel> tasks;
  std::set<std::string> inactive;
  Ordered<std::shared_ptr<RuleModel>> rules;
};

class RuleWalk : public RuleHive {
 protected:
  // Does one thing to a rule, by its path or by its handle; true when hive and model agree on
  // whether it could be done.
  bool step() {
    RuleModel* rule = &model_;
    std::string path = "\\";
    while (!rule->rules.empty() && dice_.below(3) > 0) {
      auto& [name, below] = rule->rules[dice_.below(rule->rules.size())];
      path += (path.size() > 1 ? "\\" : "") + name;
      rule = below.get();
    }
    if (dice_.below(2) == 0) return act(path, *rule);
    _NvPolComHandle* opened = hive_->openRule(path);
    bool const agreed = opened && act(opened, *rule);
    return hive_->closeRule(opened) == 0 && agreed;
  }

  template <typename Rule>
  bool act(Rule const& rule, RuleModel& held) {
    std::string const name = dice_.name();
    int32_t const order = static_cast<int32_t>(dice_.below(5)) - 1;
    switch (dice_.below(9)) {
      case 0:
        return create_rule(rule, held, name);
      case 1: {
        _NvPolRuleAttr attr{};
        held.displayname = "changed";
        zeva::set_field(attr.displayName, held.displayname);
        attr.order = held.order = dice_.number();
        return hive_->SetRuleAttrib(rule, attr) >= 0;
      }
      case 2: {
        std::shared_ptr<RuleModel>* below = held.rules.find(name);
        bool const fits = below && order > 0;
        if (fits) (*below)->order = order;
        return (hive_->setruleorder(rule, name, order) >= 0) == fits;
      }
      case 3:
        return change_conditions(rule, held);
      case 4:
        return dice_.below(6) == 0
                   ? (hive_->deleteRule(rule, name) >= 0) == held.rules.remove(name)
                   : (hive_->deleteTask(rule, name) >= 0) == held.tasks.remove(name);
      case 5:
        return create_task(rule, held, name);
      case 6: {
        bool const inactive = dice_.below(2) == 0;
        bool const fits = !name.empty() && name.find('\\') == name.npos;
        if (fits && inactive) held.inactive.insert(name);
        if (!inactive) held.inactive.erase(name);
        if (fits && hive_->istaskactive(rule, name) < 0) return false;
        return (hive_->inactivetask(rule, name, inactive) >= 0) == fits;
      }
      default:
        return change_task(rule, held.tasks.find(name), name, order);
    }
  }

  template <typename Rule>
  bool create_rule(Rule const& rule, RuleModel& held, std::string const& name) {
    std::string const shown = dice_.text();
    _NvPolComHandle* made = nullptr;
    bool const done = hive_->createRule(made, rule, name, shown, "", "a", "b") >= 0;
    if (made) hive_->closeRule(made);
    RuleModel const model{shown.substr(0, 256), 0, {"a"}, {"b"}, {}, {}, {}};
    return done == held.rules.add(name, std::make_shared<RuleModel>(model));
  }

  template <typename Rule>
  bool change_conditions(Rule const& rule, RuleModel& held) {
    std::string const from = "f" + std::to_string(dice_.below(3));
    std::string const to = "t;" + std::to_string(dice_.below(3));
    if (dice_.below(2) == 0) {
      held.from.push_back(from);
      held.to.push_back(to);
      return hive_->AddCondition(rule, from, to) >= 0;
    }
    size_t i = 0;
    while (i < held.from.size() && (held.from[i] != from || held.to[i] != to)) ++i;
    bool const found = i < held.from.size();
    if (found) held.from.erase(held.from.begin() + static_cast<ptrdiff_t>(i));
    if (found) held.to.erase(held.to.begin() + static_cast<ptrdiff_t>(i));
    return (hive_->RemoveCondition(rule, from, to) >= 0) == found;
  }

  template <typename Rule>
  bool create_task(Rule const& rule, RuleModel& held, std::string const& name) {
    std::string const shown = dice_.text();
    auto const filter = static_cast<uint32_t>(dice_.number());
    bool const done = hive_->createTask(rule, name, shown, "", filter) >= 0;
    return done == held.tasks.add(name, {shown.substr(0, 256), filter, 0, {}});
  }

  template <typename Rule>
  bool change_task(Rule const& rule, TaskModel* held, std::string const& name, int32_t order) {
    std::string const finding = "o" + std::to_string(dice_.below(4));
    switch (dice_.below(4)) {
      case 0: {
        bool const fits = held && order > 0;
        if (fits) held->order = order;
        return (hive_->settaskorder(rule, name, order) >= 0) == fits;
      }
      case 1: {
        bool const found = held && held->outcomes.erase(finding) > 0;
        return (hive_->deleteoutcome(rule, name, finding) >= 0) == found;
      }
      case 2: {
        std::string const value = dice_.text();
        if (held) held->outcomes[finding] = value;
        return (hive_->addoutcome(rule, name, finding, value) >= 0) == (held != nullptr);
      }
      default: {
        _NvPolTaskAttr attr{};
        attr.filter = 9;
        attr.reserved = 1;
        if (held) *held = {"", 9, 0, held->outcomes};
        return (hive_->SetTaskAttrib(rule, name, attr) >= 0) == (held != nullptr);
      }
    }
  }

  void compare(std::string const& path, RuleModel const& held) {
    SCOPED_TRACE(path);
    _NvPolComHandle* rule = hive_->openRule(path);
    ASSERT_NE(rule, nullptr);
    _NvPolRuleAttr attr;
    EXPECT_EQ(hive_->GetRuleAttrib(rule, attr), 0);
    EXPECT_EQ(zeva::field_text(attr.displayName), held.displayname);
    EXPECT_EQ(attr.order, held.order);
    Texts from, to, tasks, rules;
    EXPECT_EQ(hive_->GetAllConditions(rule, from, to), 0);
    EXPECT_EQ(from, held.from);
    EXPECT_EQ(to, held.to);
    EXPECT_EQ(hive_->GetAllTaskName(rule, tasks), 0);
    ASSERT_EQ(tasks, held.tasks.names());
    std::vector<_NvPolTaskAttr> attrs;
    EXPECT_EQ(hive_->GetTasksAttrib(rule, attrs), 0);
    for (size_t i = 0; i < tasks.size(); ++i) {
      TaskModel const& task = held.tasks[i].second;
      EXPECT_EQ(zeva::field_text(attrs[i].displayName), task.displayname);
      EXPECT_EQ(attrs[i].filter, task.filter);
      EXPECT_EQ(attrs[i].order, task.order);
      NvRuleHive::Outcomes outcomes;
      EXPECT_EQ(hive_->getoutcomes(rule, tasks[i], outcomes), 0);
      EXPECT_EQ(outcomes, task.outcomes);
    }
    for (char const* name : {"n0", "n1", "n2", "n3", "n4"})
      EXPECT_EQ(hive_->istaskactive(rule, name), held.inactive.contains(name) ? 0 : 1);
    EXPECT_EQ(hive_->GetAllSubRuleName(rule, rules), held.rules.empty() ? -1 : 0);
    EXPECT_EQ(rules, held.rules.names());
    EXPECT_EQ(hive_->closeRule(rule), 0);
    for (auto const& [name, below] : held.rules) compare(path + "\\" + name, *below);
  }

  Dice dice_;
  RuleModel model_;
  std::unique_ptr<NvRuleHive> hive_;
};

TEST_F(RuleWalk, AgreesWithAPlainModel) {
  SCOPED_TRACE("POLICY_SEED=" + std::to_string(dice_.seed()));
  for (int i = 0; i < 4000; ++i) {
    if (i % 1000 == 0) restart([&] { hive_.reset(); });
    if (i % 200 == 0) hive_ = std::make_unique<NvRuleHive>(kPolicy, home_.address());
    ASSERT_TRUE(step()) << "step " << i << ": " << hive_->geterror();
    hive_->geterror();
    if (i % 100 == 99) compare("\\", model_);
    if (HasFailure()) return;
  }
}

}  // namespace
