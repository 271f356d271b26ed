// The policy tree and its tasks: what each thing that can go wrong costs, and its lines in the log.
#include <pthread.h>

#include <cstring>
#include <functional>

#include "import_fixture.h"
#include "importers.h"

namespace {

std::string const kRule = "registry\\policy\\Rule";
std::string const kMail = kRule + "\\Mail";
std::string const kTasks = kMail + "\\tasks";
std::string const kSpam = kTasks + "\\AntiSpam";
std::string const kCardiff = kMail + "\\rules\\Cardiff";
std::string const kLists = "WhiteBlackLists\\Global";
std::string const kTopLists = kLists + ":";  // those of the top policy

std::string error(int code, std::string const& text) {
  return "Error [" + std::to_string(code) + "]: " + text;
}

std::string open_refused(int code, std::string const& key) {
  return refused(code, "nvreg_createKey", key);
}

class ImportPolicy : public ImportTest {
 protected:
  // Runs cases over what an earlier migration has left.
  void check_policies(Export const& files, std::vector<ImportCase> const& cases) {
    check(import_policy, files, {kMail, kLists}, cases);
  }
};

TEST_F(ImportPolicy, LeavesUnreadableBranchesOut) {
  auto top = [](std::string const& from, std::string const& to) {
    return Fault{"globalPolicy.txt", from, to};
  };
  auto top_lacks = [](char const* value) { return Lines{no_value(value, "globalPolicy.txt")}; };
  std::string const last = "policies/warehouse.txt", itself = "./policies/cardiff.txt";
  Lines const all_of_cardiff = {kCardiff, kLists + "\\Cardiff"},
              below_cardiff = {kCardiff + "\\rules"};
  std::string const size = kTasks + "\\LargeMessages", disclaimer = kTasks + "\\OutgoingDisclaimer";
  std::vector<ImportCase> cases = {
      {{"globalPolicy.txt"}, {unreadable(187, "globalPolicy.txt")}, {""}},
      {{"policies/cardiff.txt", "policies/warehouse.txt", itself},
       {unreadable(187, itself)},
       below_cardiff},
      {{last, "\nname=2:", "\nname=1:"}, {no_value("common.name", last)}, below_cardiff},
      {{last, "comment=", "x="}, {no_value("common.comment", last)}, below_cardiff},
      {{last, "matchType=1:", "matchType="}, {no_value("common.matchType", last)}, below_cardiff},
      {{last, "taskNum=1:", "taskNum=2:"}, {no_value("common.taskNum", last)}, below_cardiff},
      {top("[policy2]", "[x]"), top_lacks("policy2.name"), all_of_cardiff},
      {top("conditionNum=1:1", "conditionNum=1:2"), top_lacks("condition.condition2"), {}},
      {top("inactiveNum=1:0", "inactiveNum=1:1"), top_lacks("inactive.inactive1"), {}},
      {top("[task4]", "[x]"), top_lacks("task4.filename"), {size, disclaimer}},
      {top("tasks/size.txt", "none"), {unreadable(83, "none")}, {size}},
      {top("tasks/size.txt", "tasks/../tasks/size.txt"),
       {unreadable(83, "tasks/../tasks/size.txt")},
       {size}},
      {top("tasks/size.txt", last), {no_value("common.filter", last)}, {size}},
      {{"tasks/size.txt", "1:131076", "1:131079"}, {"Error [122]: unknown filter 131079"}, {size}},
      // The lists of a policy lie under the names that its ancestors call it by.
      {top("name=2:HeadOffice", "name=2:Bristol"), {}, {kLists + "\\HeadOffice"}, 0, 7},
      {top("policies/cardiff.txt", "./policies//head-office.txt"), {}, all_of_cardiff, 0, 7},
  };
  for (std::string const file : {"missing", "", "policies/../policies/cardiff.txt",
                                 "globalPolicy.txt", ".//./globalPolicy.txt"})
    cases.push_back({top("policies/cardiff.txt", file), {unreadable(187, file)}, all_of_cardiff});
  check_policies(example(), cases);
}

TEST_F(ImportPolicy, EndsATaskAtWhatItLacks) {
  std::string const file = "tasks/size.txt", key = kTasks + "\\LargeMessages",
                    size = key + "\\size";
  std::string const words = kMail + "\\rules\\HeadOffice\\rules\\Finance\\tasks\\ConfidentialWords";
  auto lacks = [](std::string const& name, std::string const& in) {
    return Lines{error(52, "read section " + name + " from " + in + " failed.")};
  };
  auto spam = [](char const* from, char const* to) {
    return Fault{"tasks/antispam.txt", from, to};
  };
  auto spam_lacks = [](char const* value) { return no_value(value, "tasks/antispam.txt"); };
  auto nameless = Lines{error(63, "a section of " + file + " has no name.")};
  check_policies(
      changed(example(), file, "[classification]", "[more]\nM=1:1\n[classification]"),
      {
          {{file, "[classification]", "[x]"}, lacks("classification", file), {key + "\\"}},
          {{file, "[setting]", "[x]"},
           lacks("setting", file),
           {key + "\\more", key + "\\setting", size}},
          {{file, "[size]", "[sizes]"}, lacks("size", file), {key + "\\more", size}},
          {{file, "[size]", "[]"}, nameless, {key + "\\more", size}},
          {{file, "[setting]", "[\\]\nx=1:9\n[setting]"}, nameless, {key + "\\setting", size}},
          {{"tasks/disclaimer.txt", "[disclaimer]", "[x]"},
           lacks("disclaimer", "tasks/disclaimer.txt"),
           {kTasks + "\\OutgoingDisclaimer\\disclaimer"}},
          {{"tasks/attachments.txt", "[attachment]", "[x]"},
           lacks("attachment", "tasks/attachments.txt"),
           {kMail + "\\rules\\HeadOffice\\tasks\\DangerousAttachments\\attachment"}},
          {{"tasks/confidential.txt", "[expression", "[x"},
           lacks("expression", "tasks/confidential.txt"),
           {words + "\\scanpart", words + "\\expression", words + "\\synonym"}},
          {{file, "MaxMessageSize=1:", "MaxMessageSize="},
           {error(130, "read value [size.MaxMessageSize] from " + file + " failed.")},
           {size}},
          {{file, "MaxMessageSize", "y\\z"},
           {error(258, reason("REG_FAIL", "nvreg_setValue", "y\\z", NVREG_BAD_NAME))},
           {size}},
          {{"tasks/virus.txt", "Mass_Mailing", "x"},
           {no_value("classification.Mass_Mailing", "tasks/virus.txt")},
           {kTasks + "\\VirusScan\\"}},
          {{"tasks/virus.txt", "Uncertain=2:", "Uncertain=1:"},
           {no_value("classification.Uncertain", "tasks/virus.txt")},
           {kTasks + "\\VirusScan\\"}},
          {{"tasks/virus.txt", "[setting]", "[x]"},
           {no_value("setting.Zentiscan", "tasks/virus.txt")},
           {kTasks + "\\VirusScan\\setting"}},
          // The steps of an anti-spam task do not depend on each other.
          {spam("\noverridable", "\nx"),
           {spam_lacks("common.overridable")},
           {kSpam + ":", kSpam + "\\", kTopLists}},
          {spam("]\nPassed=", "]\nx="),
           {spam_lacks("classification.Passed"), spam_lacks("Classification_UI.Passed")},
           {kSpam + "\\Cla", kSpam + "\\setting\\Cla"}},
          {spam("Path=", "x="),
           {spam_lacks("setting.ControllingPolicyPath")},
           {kSpam + "\\setting"}},
          {spam("l_editWL_2", "x"),
           {spam_lacks("blackwhitelist.l_editWL_2")},
           {kTopLists + "l_editWL_2"}},
          {spam("size_noEditWL=1:2", "size_noEditWL=1:1"), {}, {kTopLists + "l_noEditWL_2"}},
          {spam("size_subsBL=1:2", "size_subsBL=1:0"), {}, {kTopLists + "l_subsBL"}},
          {spam("size_subsBL=1:2", "size_subsBL=1:2000000000"),
           given_up(231, "entries l_subsBL_", "tasks/antispam.txt", 3, "blackwhitelist.l_subsBL_"),
           {}},
          {spam("size_subsBL", "x"),
           {error(216, "read sizes of white and black lists from tasks/antispam.txt failed.")},
           {kTopLists}},
      });
}

TEST_F(ImportPolicy, LosesOnlyWhatDependsOnAFailingCall) {
  // Three tasks of different kinds, and one policy below.
  Export files = example();
  for (auto const& [from, to] :
       {std::pair("subPolicyNum=1:2", "subPolicyNum=1:1"), std::pair("taskNum=1:5", "taskNum=1:3"),
        std::pair("policies/head-office.txt", "policies/warehouse.txt")})
    files = changed(files, "globalPolicy.txt", from, to);
  std::string const virus = kTasks + "\\VirusScan", old = kTasks + "\\OldAntiSpam";
  std::vector<ImportCase> cases = {
      {failing("inactive"),
       {open_refused(242, "inactive"), open_refused(242, "inactive")},
       {kMail + "\\rules\\Warehouse\\inactive"}},
      {failing("tasks"),
       {open_refused(267, "tasks"), open_refused(267, "tasks")},
       {kTasks, kTopLists}},
      {failing("rules"), {open_refused(285, "rules")}, {kMail + "\\rules"}},
      {failing("VirusScan"), {open_refused(131, "VirusScan")}, {virus}},
      {failing("AntiSpam"), {open_refused(415, "AntiSpam")}, {kSpam, kTopLists}},
      {failing("OldAntiSpam"), {open_refused(112, "OldAntiSpam")}, {old}},
      {failing("Classification"),
       {open_refused(36, "Classification"), open_refused(56, "Classification"),
        open_refused(77, "Classification")},
       {virus + "\\", kSpam + "\\Cla", old + "\\"}},
      {failing("setting"),
       {open_refused(89, "setting"), open_refused(166, "setting"), open_refused(77, "setting")},
       {virus + "\\set", kSpam + "\\set", old + "\\set", old + "\\words", old + "\\senders"}},
      {failing("Classification_UI"),
       {open_refused(118, "Classification_UI")},
       {kSpam + "\\setting\\Cla"}},
      {failing(kLists + "\\"), {open_refused(197, kLists + "\\")}, {kTopLists}},
      {failing("size_noEditWL"),
       {refused(258, "nvreg_setValue", "size_noEditWL"),
        error(221, "write sizes of white and black lists failed.")},
       {kTopLists + "size_noEditWL", kTopLists + "size_editBL", kTopLists + "size_noEditBL",
        kTopLists + "size_subs"}},
      {failing("matchType"), {refused(258, "nvreg_setValue", "matchType")}, {""}},
      {failing("matchType\ndelete Mail"),
       {refused(467, "nvreg_deleteKey", "Mail"), refused(258, "nvreg_setValue", "matchType"),
        refused(211, "nvreg_deleteKey", "Mail")},
       {kMail + ":matchType", kMail + ":condition", kMail + "\\", kLists},
       0,
       1},
      // At the root of it, what an earlier migration left stays.
      {failing(kRule), {open_refused(459, kRule)}, {""}, 0, 2},
      {failing("Mail"),
       {refused(467, "nvreg_deleteKey", "Mail"), open_refused(203, "Mail")},
       {""},
       0,
       1},
      {failing("WhiteBlackLists"), {open_refused(477, "WhiteBlackLists")}, {""}, 0, 1},
      {failing("Global"), {refused(484, "nvreg_deleteKey", "Global")}, {}, 0, 1},
  };
  for (auto const& [list, code] : {std::pair("editWL", 244),
                                   {"noEditWL", 270},
                                   {"editBL", 296},
                                   {"noEditBL", 322},
                                   {"subsWL", 348},
                                   {"subsBL", 374}}) {
    std::string const entry = std::string("l_") + list + "_1";
    cases.push_back(
        {failing(entry),
         {refused(258, "nvreg_setValue", entry), error(code, "write " + entry + " failed.")},
         {kTopLists + entry}});
  }
  check_policies(files, cases);
}

TEST_F(ImportPolicy, CorrectsTheDetectionRate) {
  Export const top = changed(example(), "globalPolicy.txt", "subPolicyNum=1:2", "subPolicyNum=1:0");
  std::string const low = "Warning [154]: BaselineDetectionRate changed to 4, original is ";
  struct {
    std::string exported;
    uint32_t stored;
    Lines log;
  } const cases[] = {
      {"0", 4, {low + "0"}},
      {"1", 4, {low + "1"}},
      {"2", 2, {}},
      {"5", 5, {}},
      {"6", 1, {"Warning [159]: Invalid BaselineDetectionRate (6), use default value."}},
      {"-1", 1, {"Warning [159]: Invalid BaselineDetectionRate (-1), use default value."}},
      {"4294967299", 3, {}},  // the low 32 bits count, as in the store
  };
  for (auto const& [exported, stored, log] : cases) {
    EXPECT_EQ(run(import_policy, changed(top, "tasks/antispam.txt", "DetectionRate=1:3",
                                         "DetectionRate=1:" + exported)),
              0);
    EXPECT_EQ(logged(), log);
    std::string bytes(sizeof stored, '\0');
    std::memcpy(bytes.data(), &stored, sizeof stored);
    EXPECT_EQ(client_.query(kSpam + "\\setting", "BaselineDetectionRate"), bytes) << exported;
  }
}

// Levels cost no stack: a thousand of them fit where a call for each would not.
TEST_F(ImportPolicy, FollowsATreeOfAThousandLevels) {
  Export files = example();
  std::string const policy =
      changed(files, "policies/warehouse.txt", "subPolicyNum=1:0", "subPolicyNum=1:1")
          .at("policies/warehouse.txt");
  std::string leaf = kRule + "\\Warehouse";
  for (int i = 1; i <= 1000; ++i) {
    files[i == 1 ? "globalPolicy.txt" : std::to_string(i)] =
        policy + "[policy1]\nname=2:N\nfilename=2:" + std::to_string(i + 1) + "\n";
    if (i > 1) leaf += "\\rules\\Warehouse";
  }
  std::function<void()> work = [&] {
    EXPECT_EQ(run(import_policy, files), 0);
    EXPECT_EQ(logged(), Lines{unreadable(187, "1001")});
  };
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
  EXPECT_EQ(client_.contents(leaf).at(0).second.size(), 5u) << "four attributes and a condition";
}

}  // namespace
