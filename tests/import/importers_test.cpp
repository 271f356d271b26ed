// What every importer but that of policies does about each thing that can go wrong: its line in the
// log, its result, and what has arrived by then. What arrives when nothing goes wrong is compared
// value for value by the tests of the whole example.
#include "importers.h"

#include "filter_action_keys.h"
#include "import_filter_action.h"
#include "import_fixture.h"

namespace {
unsigned pauses;
}

// The pause after each address list is counted, not waited for.
extern "C" unsigned __wrap_sleep(unsigned seconds) {
  pauses += seconds;
  return 0;
}

namespace {

Lines const kEverything = {""};
std::string const kConfig = "registry\\config";

class Importers : public ImportTest {};

TEST_F(Importers, FilterActionsEndAtTheFirstFailure) {
  std::string const key = "registry\\policy\\Classification", scan = key + "\\ScanError";
  std::string const strip = scan + "\\actions\\StripActiveContent";
  std::string const keep = scan + "\\actions\\KeepUnscanned";
  Lines const actions = {scan + "\\"}, hidden_on = {scan + ":hidden", scan + "\\"};
  std::string const file = "action1.txt", index = "actionFile.txt";
  Fault const none = {index, "FileNum=1:1", "FileNum=1:0"};
  // One classification, that of the example with a hidden mark.
  files_ = changed(files_, index, "FileNum=1:9", "FileNum=1:1");
  files_[file] = files_["action9.txt"] +
                 "[action2000000000]\nname=2:F\ncomment=2:\ndisplayName=2:\norder=1:3\n"
                 "actionType=1:65537\n";
  old_keys_ = {key + "\\Old"};
  check(import_filter_action, {-11, 1},
        {refused_key(461, key, kEverything),
         refused_deletion(474, "Old", kEverything, "Remove FilterAction error")});
  check(import_filter_action, {-11},
        {missing_file(484, index, kEverything),
         missing_value(index, "common.FileNum", kEverything),
         missing_file(509, file, kEverything),
         missing_value(file, "common.hidden", kEverything),
         {{file, "name=2:ScanError", "name=2:"},
          {"FilterAction error [533]: " + reason("REG_EMPTY", "createclass: iname")},
          kEverything},
         refused_key(547, scan, hidden_on),
         refused_value("hidden", hidden_on),
         {{file, "1:131077", "1:131078"}, {"Error [240]: Unknown action type 131078"}, actions},
         {{file, "1:131077", "1:0"}, {"Error [240]: Unknown action type 0"}, actions},
         refused_key(257, strip, actions),
         refused_value("displayName", {strip + ":d", strip + ":a", strip + "\\", keep}),
         missing_value(file, "action2.QuarantineArea", {keep}),
         refused_key(284, keep + "\\setting", {keep + "\\"}),
         refused_value("QuarantineArea", {keep + "\\"})});
  check(import_filter_action, {},
        {{none, {}, kEverything},
         {{file, "hidden=2:1", "hidden=2:01x"}, {}, {}},
         {{file, "hidden=2:1", "hidden=2:11"}, {}, {scan + ":hidden"}},
         // Half an action is stored all the same.
         missing_value(file, "action1.order", {})});
  // Those without a section are one action without a name.
  check(import_filter_action, {0, 10},
        {{{file, "actionnum=1:2", "actionnum=1:2147483647"},
          far_apart(561, "actions", file, 3, "action", ".name"),
          {}}});
  old_keys_ = {};
  std::string const empty = "FilterAction [467]: " + reason("REG_EMPTY", "Classification list");
  check(import_filter_action, {}, {{none, {empty}, kEverything}});
  // Each type that is known can be read, with the keys of its own.
  for (zeva::ActionType const& type : zeva::kActionTypes) {
    std::string text = "[action1]\nname=2:A\ncomment=2:\ndisplayName=2:\norder=1:1\nactionType=1:" +
                       std::to_string(type.type) + "\n";
    for (zeva::ExportKey const& each : type.keys)
      text += std::string(each.name) + (each.type == VALUE_NUMBER ? "=1:1\n" : "=2:x\n");
    write_text(dir_ / "one", text);
    NvConfigFile one(dir_ / "one");
    _tag_ACTION action;
    void* setting = nullptr;
    EXPECT_EQ(one.readfile(), 0);
    EXPECT_TRUE(read_action(one, 0, action, &setting)) << type.type;
    zeva::free_setting(action, setting);
  }
  auto const save_unknown = [](char const*, char const* regfile) {
    _tag_ACTION action;
    action.actionType = 0x10000;
    return save_action(regfile, "A", action, nullptr) ? 0 : -11;
  };
  EXPECT_EQ(run(save_unknown, {}), -11);
  EXPECT_EQ(logged(), Lines{"Error [437]: Unknown action type 65536"});
}

TEST_F(Importers, ConfigSettingsArriveUpToTheFirstFailure) {
  std::string const manager = kConfig + "\\FilterManager";
  std::string const limits = manager + "\\0001\\0001", front_limit = manager + "\\0002";
  std::string const areas = kConfig + "\\Classification\\0001\\0003\\QuarantineArea";
  Lines const from_limits = {manager, areas}, from_front_limit = {front_limit, areas};
  std::string const spam = areas + "\\Spam", cardiff = areas + "\\Cardiff";
  old_keys_ = {areas + "\\Old"};
  check(import_config, {-13, 1},
        {missing_file(122, "excepton.txt", kEverything),
         missing_value("excepton.txt", "common.EncryptedMessageCls", kEverything),
         refused_key(137, kConfig, kEverything), refused_value("ProcessErrorCls", kEverything)});
  check(import_config, {-14, 1},
        {missing_file(162, "scanlimit.txt", from_limits),
         missing_value("scanlimit.txt", "common.MultipleCleanLayer", from_limits),
         refused_key(182, limits, from_limits), refused_value("MaxVirusCount", from_limits),
         missing_value("scanlimit.txt", "common.uiMaxFrontScanSize", from_front_limit),
         refused_key(204, front_limit, from_front_limit)});
  ImportCase unopened = refused_key(26, areas, {areas});
  unopened.log.push_back(refused_key(35, areas, {}).log[0]);
  check(import_config, {-12, 1}, {unopened, refused_deletion(44, "Old", {areas})});
  check(import_config, {-12},
        {missing_file(55, "quarantine.txt", {areas}),
         missing_value("quarantine.txt", "area3.AreaName", {cardiff}),
         refused_key(78, spam, {spam, cardiff}), refused_value("AreaName", {areas})});
  old_keys_ = {};
  std::string const empty = "Error [26]: " + reason("REG_EMPTY", "The task name");
  check(import_config, {}, {{{"quarantine.txt", "FileNum=1:3", "FileNum=1:0"}, {empty}, {areas}}});
}

TEST_F(Importers, ExtraFiltersSkipWhatIsBroken) {
  std::string const file = "xfilter.txt", bounces = "XFilter\\Bounces of forged mail";
  std::string const scanner = "XFilter\\Scanner test", shop = "XFilter\\Siopa";
  Lines const filters = {"XFilter\\"};
  std::string const endless = "1:2147483647", list = "[filter3_pattern]\n";
  files_ = changed(files_, file, list, list + "Pattern2000000000=2:far\n");
  files_[file] += "[filter2000000000]\nName=2:F\nLocation=1:1\nCaseSensitive=1:1\npatternNum=1:0\n";
  old_keys_ = {"XFilter\\Old 1", "XFilter\\Old 2"};
  check(import_xfilter, {},
        {{{file}, {}, kEverything},
         {{file, "filterNum=1:3", "filterNum=1:0"}, {}, filters},
         {{file, "filterNum=1:3", "filterNum=1:-3"}, {}, filters},
         missing_value(file, "common.enable", kEverything),
         missing_value(file, "common.filterNum", filters),
         missing_value(file, "filter1.Name", {bounces}),
         missing_value(file, "filter1.patternNum", {bounces + ":Pattern"}),
         missing_value(file, "filter2_pattern.Pattern0", {scanner + ":Pattern 0"}),
         refused_value("Pattern 2", {bounces + ":Pattern 2"})});
  check(import_xfilter, {0, 2},
        {{{file, "filterNum=1:3", "filterNum=" + endless},
          far_apart(351, "filters", file, 4, "filter", ".Name"),
          {}}});
  check(import_xfilter, {0, 1},
        {{{file, "patternNum=1:1", "patternNum=" + endless},
          far_apart(385, "patterns of filter3_pattern", file, 1, "filter3_pattern.Pattern"),
          {}}});
  check(import_xfilter, {0, 1}, {refused_deletion(425, "Old 1", {})});
  std::string const unlisted = reason("REG_FAIL2", "nvreg_enumSubkey", NVREG_STORE_WRITE);
  check(import_xfilter, {0, 2},
        {refused_key(410, "XFilter", kEverything),
         {{.failing = "list"}, {"Error [425]: " + unlisted}, {}}});
  // That there was no filter to remove is not told, nor with a failure that follows.
  old_keys_ = {};
  check(import_xfilter, {}, {refused_key(337, "Siopa", {shop})});
  EXPECT_EQ(run(import_xfilter, {{"xfilter.txt/inside", ""}}), 0);
  EXPECT_EQ(logged(), Lines{unreadable(434, file)}) << "a folder";
  for (char const* target : {"xfilter.txt", "nowhere"}) {
    EXPECT_EQ(run(import_xfilter, {}), 0);
    std::filesystem::create_symlink(target, dir_ / file);
    EXPECT_EQ(import_xfilter(dir_.c_str(), home->address().c_str()), 0);
    EXPECT_EQ(logged(), Lines{unreadable(434, file)}) << target;
  }
}

TEST_F(Importers, AddressListsArriveUpToTheFirstFailure) {
  std::string const file = "address.txt", lists = "registry\\policy\\AddressList";
  Lines const from_second = {lists + "\\CardiffStaff", lists + "\\Partners"};
  EXPECT_EQ(run(import_addr_list, files_), 0);
  EXPECT_EQ(pauses, 3u);
  old_keys_ = {lists + "\\Old"};
  check(import_addr_list, {-8, 1},
        {refused_key(55, "registry\\policy\\\\AddressList", kEverything)});
  check(import_addr_list, {-11, 1},
        {refused_deletion(64, "Old", kEverything, "Remove address error")});
  check(import_addr_list, {}, {{{file, "Num=1:3", "Num=1:0"}, {}, kEverything}});
  check(import_addr_list, {-8},
        {missing_file(81, file, kEverything),
         missing_value(file, "common.Num", kEverything),
         missing_value(file, "addressList2.comment", from_second),
         {{file, "Name=2:CardiffStaff", "Name=2:Directors"},
          {"Address list error: [0]: " +
           reason("REG_FAIL", "nvpol_createAddrList", "Directors", NVREG_EXISTS)},
          from_second},
         {{file, "address=2:files@payroll.example;", "address=2:;\nx=2:"},
          {"Address list error [0]: " + reason("REG_EMPTY", "setaddress: address")},
          {lists + "\\Partners:address"}}});
}

TEST_F(Importers, MiscellaneousValuesArriveUpToTheFirstFailure) {
  std::string const file = "misc.txt", delivery = kConfig + "\\Delivery";
  std::string const console = kConfig + "\\Console", reports = kConfig + "\\Reports";
  std::string const weekly = reports + "\\Weekly";
  Lines const from_title = {reports, console};
  Lines const from_list = {weekly + ":Attachments", reports + ":TemplateId", console};
  check(import_misc, {-15},
        {missing_file(23, file, kEverything),
         missing_value(file, "common.SectionNum", kEverything),
         missing_value(file, "Section5.ValueName", from_title),
         refused_key(63, weekly, from_title),
         {{file, "Value=3:\n", "Value=5:\n"},
          {"Error [130]: read value [Section7.Value] from misc.txt failed."},
          from_list},
         refused_value("Attachments", from_list),
         {{.failing = "TemplateId"},
          {"Error [246]: set value failed."},
          {reports + ":TemplateId", console}}});
  check(import_misc, {}, {{{file, "SectionNum=1:9", "SectionNum=1:0"}, {}, kEverything}});
  // The root outlives each section that names it, and a value may have no name.
  check(import_misc, {0, 4}, {{{file, "KeyName=2:" + delivery, "KeyName=2:"}, {}, {delivery}}});
  check(import_misc, {0, 1},
        {{{file, "ValueName=2:RetryMinutes", "ValueName=2:"}, {}, {delivery + ":RetryMinutes"}}});
}

}  // namespace
