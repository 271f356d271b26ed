// The policy tree and its tasks: what each thing that can go wrong costs, and its lines in the log.
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

class ImportPolicy : public ImportTest {
 protected:
  // What an earlier migration has left.
  ImportPolicy() { old_keys_ = {kMail, kLists}; }
};

TEST_F(ImportPolicy, LeavesUnreadableBranchesOut) {
  std::string const top = "globalPolicy.txt", last = "policies/warehouse.txt",
                    size = "tasks/size.txt";
  std::string const cardiff = "policies/cardiff.txt", itself = "./policies/cardiff.txt";
  Lines const all_of_cardiff = {kCardiff, kLists + "\\Cardiff"};
  Lines const below_cardiff = {kCardiff + "\\rules"}, size_task = {kTasks + "\\LargeMessages"};
  std::vector<ImportCase> cases = {
      missing_file(187, top, {""}),
      {{cardiff, last, itself}, {unreadable(187, itself)}, below_cardiff},
      {{cardiff, last, top}, {unreadable(187, top)}, below_cardiff},
      missing_value(last, "common.name", below_cardiff),
      missing_value(last, "common.taskNum", below_cardiff),
      missing_value(top, "policy2.name", all_of_cardiff),
      missing_value(cardiff, "condition.condition1", {kCardiff + ":condition"}),
      missing_value(cardiff, "inactive.inactive2", {kCardiff + "\\inactive:inactive2"}),
      missing_value(top, "task5.filename", {kTasks + "\\OutgoingDisclaimer"}),
      missing_file(83, size, size_task),
      {{top, "tasks/size", "tasks/../tasks/size"},
       {unreadable(83, "tasks/../tasks/size.txt")},
       size_task},
      missing_value(size, "common.filter", size_task),
      {{size, "1:131076", "1:131079"}, {"Error [122]: unknown filter 131079"}, size_task},
  };
  for (std::string const file : {"missing", "", "policies/../policies/cardiff.txt",
                                 "globalPolicy.txt", ".//./globalPolicy.txt"})
    cases.push_back({{top, cardiff, file}, {unreadable(187, file)}, all_of_cardiff});
  check(import_policy, {}, cases);
  // The lists of a policy lie under the names that its ancestors call it by.
  check(import_policy, {0, 7},
        {{{top, "name=2:HeadOffice", "name=2:Bristol"}, {}, {kLists + "\\HeadOffice"}},
         {{top, cardiff, "./policies//head-office.txt"}, {}, all_of_cardiff}});
}

TEST_F(ImportPolicy, EndsATaskAtWhatItLacks) {
  auto lacks = [](std::string const& file, std::string const& section, Lines const& lost) {
    std::string const line = "read section " + section + " from " + file + " failed.";
    return ImportCase{{file, "\n[" + section, "\n[x"}, {error(52, line)}, lost};
  };
  std::string const head_office = kMail + "\\rules\\HeadOffice";
  std::string const words = head_office + "\\rules\\Finance\\tasks\\ConfidentialWords";
  std::string const file = "tasks/size.txt", key = kTasks + "\\LargeMessages",
                    size = key + "\\size";
  Lines const nameless = {error(63, "a section of " + file + " has no name.")};
  files_ = changed(files_, file, "[classification]", "[more]\nM=1:1\n[classification]");
  check(import_policy, {},
        {lacks(file, "classification", {key + "\\"}),
         lacks(file, "setting", {key + "\\more", key + "\\setting", size}),
         lacks(file, "size", {key + "\\more", size}),
         {{file, "[size]", "[]"}, nameless, {key + "\\more", size}},
         {{file, "[setting]", "[\\]\nx=1:9\n[setting]"}, nameless, {key + "\\setting", size}},
         lacks("tasks/disclaimer.txt", "disclaimer", {kTasks + "\\OutgoingDisclaimer\\disclaimer"}),
         lacks("tasks/confidential.txt", "expression",
               {words + "\\scan", words + "\\ex", words + "\\syn"}),
         missing_value("tasks/virus.txt", "setting.Zentiscan", {kTasks + "\\VirusScan\\set"}),
         {{"tasks/virus.txt", "Uncertain=2:", "Uncertain=1:"},
          {no_value("classification.Uncertain", "tasks/virus.txt")},
          {kTasks + "\\VirusScan\\"}},
         {{file, "Size=1:", "Size="},
          {error(130, "read value [size.MaxMessageSize] from " + file + " failed.")},
          {size}},
         {{file, "MaxMessageSize", "y\\z"},
          {error(258, reason("REG_FAIL", "nvreg_setValue", "y\\z", NVREG_BAD_NAME))},
          {size}}});
}

TEST_F(ImportPolicy, KeepsTheOtherStepsOfAnAntiSpamTask) {
  std::string const file = "tasks/antispam.txt";
  check(import_policy, {},
        {missing_value(file, "common.overridable", {kSpam + ":", kSpam + "\\", kTopLists}),
         missing_value(file, "classification.Passed", {kSpam + "\\Classification"}),
         missing_value(file, "Classification_UI.Passed", {kSpam + "\\setting\\Cla"}),
         missing_value(file, "setting.ControllingPolicyPath", {kSpam + "\\setting"}),
         missing_value(file, "blackwhitelist.l_editWL_2", {kTopLists + "l_editWL_2"}),
         {{.file = file, .lacks = "blackwhitelist.size_subsBL"},
          {no_value("blackwhitelist.size_subsBL", file),
           error(216, "read sizes of white and black lists from " + file + " failed.")},
          {kTopLists}},
         {{file, "size_noEditWL=1:2", "size_noEditWL=1:1"}, {}, {kTopLists + "l_noEditWL_2"}}});
  std::string const endless = "size_subsBL=1:2147483647\nl_subsBL_2000000000=3:far";
  check(import_policy, {0, 1},
        {{{file, "size_subsBL=1:2", endless},
          far_apart(231, "entries l_subsBL_", file, 3, "blackwhitelist.l_subsBL_"),
          {}}});
}

TEST_F(ImportPolicy, LosesOnlyWhatDependsOnAFailingCall) {
  // Three tasks of different kinds, and one policy below.
  for (auto const& [from, to] :
       {std::pair("subPolicyNum=1:2", "subPolicyNum=1:1"), std::pair("taskNum=1:5", "taskNum=1:3"),
        std::pair("policies/head-office.txt", "policies/warehouse.txt")})
    files_ = changed(files_, "globalPolicy.txt", from, to);
  std::string const virus = kTasks + "\\VirusScan", old = kTasks + "\\OldAntiSpam";
  auto in_turn = [](char const* key, std::vector<int> const& codes, Lines const& lost) {
    ImportCase all{{.failing = key}, {}, lost};
    for (int code : codes) all.log.push_back(refused_key(code, key, {}).log[0]);
    return all;
  };
  ImportCase sizes = refused_value(
      "size_noEditWL",
      {kTopLists + "size_noEdit", kTopLists + "size_editBL", kTopLists + "size_subs"});
  sizes.log.push_back(error(221, "write sizes of white and black lists failed."));
  std::vector<ImportCase> cases = {
      sizes,
      in_turn("inactive", {242, 242}, {kMail + "\\rules\\Warehouse\\inactive"}),
      in_turn("tasks", {267, 267}, {kTasks, kTopLists}),
      in_turn("rules", {285}, {kMail + "\\rules"}),
      in_turn("VirusScan", {131}, {virus}),
      in_turn("AntiSpam", {415}, {kSpam, kTopLists}),
      in_turn("OldAntiSpam", {112}, {old}),
      in_turn("Classification", {36, 56, 77}, {virus + "\\", kSpam + "\\Cla", old + "\\"}),
      in_turn(
          "setting", {89, 166, 77},
          {virus + "\\set", kSpam + "\\set", old + "\\set", old + "\\words", old + "\\senders"}),
      in_turn("Classification_UI", {118}, {kSpam + "\\setting\\Cla"}),
      refused_key(197, kLists + "\\", {kTopLists}),
      refused_value("matchType", {""}),
  };
  std::pair<std::string, int> const entry_codes[] = {{"l_editWL_1", 244}, {"l_noEditWL_1", 270},
                                                     {"l_editBL_1", 296}, {"l_noEditBL_1", 322},
                                                     {"l_subsWL_1", 348}, {"l_subsBL_1", 374}};
  for (auto const& [entry, code] : entry_codes) {
    cases.push_back(refused_value(entry, {kTopLists + entry}));
    cases.back().log.push_back(error(code, "write " + entry + " failed."));
  }
  check(import_policy, {}, cases);
  ImportCase half =
      refused_value("matchType", {kMail + ":m", kMail + ":cond", kMail + "\\", kLists});
  half.fault.failing += "\ndelete Mail";
  half.log.insert(half.log.begin(), refused_deletion(467, "Mail", {}).log[0]);
  half.log.push_back(refused_deletion(211, "Mail", {}).log[0]);
  // At the root of it, what an earlier migration left stays.
  ImportCase mail = refused_deletion(467, "Mail", {""});
  mail.log.push_back(refused_key(203, "Mail", {}).log[0]);
  check(import_policy, {0, 2}, {refused_key(459, kRule, {""})});
  check(
      import_policy, {0, 1},
      {half, mail, refused_key(477, "WhiteBlackLists", {""}), refused_deletion(484, "Global", {})});
}

TEST_F(ImportPolicy, CorrectsTheDetectionRate) {
  Export const top = changed(files_, "globalPolicy.txt", "subPolicyNum=1:2", "subPolicyNum=1:0");
  std::string const low = "Warning [154]: BaselineDetectionRate changed to 4, original is ";
  struct {
    std::string exported;
    char stored;  // as the lowest byte of a number
    Lines log;
  } const cases[] = {
      {"0", 4, {low + "0"}},
      {"1", 4, {low + "1"}},
      {"2", 2, {}},
      {"6", 1, {"Warning [159]: Invalid BaselineDetectionRate (6), use default value."}},
      {"-1", 1, {"Warning [159]: Invalid BaselineDetectionRate (-1), use default value."}},
      {"4294967299", 3, {}},  // the low 32 bits count, as in the store
  };
  for (auto const& [exported, stored, log] : cases) {
    EXPECT_EQ(run(import_policy, changed(top, "tasks/antispam.txt", "DetectionRate=1:3",
                                         "DetectionRate=1:" + exported)),
              0);
    EXPECT_EQ(logged(), log);
    EXPECT_EQ(client_.query(kSpam + "\\setting", "BaselineDetectionRate"),
              stored + std::string(3, '\0'))
        << exported;
  }
}

TEST_F(ImportPolicy, FollowsATreeOfAThousandLevels) {
  std::string const policy =
      changed(files_, "policies/warehouse.txt", "subPolicyNum=1:0", "subPolicyNum=1:1")
          .at("policies/warehouse.txt");
  std::string leaf = kRule + "\\Warehouse";
  for (int i = 1; i <= 1000; ++i) {
    files_[i == 1 ? "globalPolicy.txt" : std::to_string(i)] =
        policy + "[policy1]\nname=2:N\nfilename=2:" + std::to_string(i + 1) + "\n";
    if (i > 1) leaf += "\\rules\\Warehouse";
  }
  EXPECT_EQ(run(import_policy, files_), 0);
  EXPECT_EQ(logged(), Lines{unreadable(187, "1001")});
  EXPECT_EQ(client_.contents(leaf).at(0).second.size(), 5u) << "four attributes and a condition";
}

}  // namespace
