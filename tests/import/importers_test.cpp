// What every importer but that of policies does about each thing that can go wrong: its line in the
// log, its result, and what has arrived by then. What arrives when nothing goes wrong is compared
// value for value by the tests of the whole example.
#include "importers.h"

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

std::string open_refused(int code, std::string const& key) {
  return refused(code, "nvreg_createKey", key);
}

std::string set_refused(std::string const& name) {
  return refused(258, "nvreg_setValue", name);
}

class Importers : public ImportTest {};

TEST_F(Importers, FilterActionsEndAtTheFirstFailure) {
  std::string const key = "registry\\policy\\Classification", scan = key + "\\ScanError";
  std::string const strip = scan + "\\actions\\StripActiveContent";
  std::string const keep = scan + "\\actions\\KeepUnscanned";
  Lines const hidden_on = {scan + ":hidden", scan + "\\actions"}, actions = {scan + "\\actions"};
  // One classification, that of the example with a hidden mark.
  Export files = changed(example(), "actionFile.txt", "FileNum=1:9", "FileNum=1:1");
  files["action1.txt"] = files["action9.txt"];
  auto with = [](char const* from, char const* to) { return Fault{"action1.txt", from, to}; };
  auto no = [](char const* value) { return Lines{no_value(value, "action1.txt")}; };
  auto unknown = [](char const* type) {
    return Lines{std::string("Error [240]: Unknown action type ") + type};
  };
  check(import_filter_action, files, {key + "\\Old"},
        {
            {failing(key), {open_refused(461, key)}, kEverything, -11, 1},
            {failing("Old"),
             {refused(474, "nvreg_deleteKey", "Old", "Remove FilterAction error")},
             kEverything,
             -11,
             1},
            {{"actionFile.txt"}, {unreadable(484, "actionFile.txt")}, kEverything, -11},
            {{"actionFile.txt", "FileNum=", "fileNum="},
             {no_value("common.FileNum", "actionFile.txt")},
             kEverything,
             -11},
            {{"actionFile.txt", "FileNum=1:1", "FileNum=1:0"}, {}, kEverything},
            {{"action1.txt"}, {unreadable(509, "action1.txt")}, kEverything, -11},
            {with("hidden=", "Hidden="), no("common.hidden"), kEverything, -11},
            {with("Comment=", "comment="), no("common.Comment"), kEverything, -11},
            {with("name=2:ScanError", "name=2:"),
             {"FilterAction error [533]: " + reason("REG_EMPTY", "createclass: iname")},
             kEverything,
             -11},
            {failing(scan), {open_refused(547, scan)}, hidden_on, -11},
            {failing("hidden"), {set_refused("hidden")}, hidden_on, -11},
            {with("hidden=2:1", "hidden=2:01x"), {}, {}},
            {with("hidden=2:1", "hidden=2:11"), {}, {scan + ":hidden"}},
            {with("QuarantineArea", "x"), no("action2.QuarantineArea"), {keep}, -11},
            {with("1:131077", "1:65536"), unknown("65536"), actions, -11},
            {with("1:131077", "1:131078"), unknown("131078"), actions, -11},
            {with("1:131077", "1:0"), unknown("0"), actions, -11},
            // Half an action is stored as far as it could be read.
            {with("order=1:1\n", ""), no("action1.order"), {}},
            // Those without a section are one action without a name.
            {with("actionnum=1:2", "actionnum=1:2000000000"),
             given_up(561, "actions", "action1.txt", 3, "action", ".name"),
             {},
             0,
             5},
            {failing(strip), {open_refused(257, strip)}, actions, -11},
            {failing("displayName"),
             {set_refused("displayName")},
             {keep, strip + ":d", strip + ":a", strip + "\\"},
             -11},
            {failing(keep + "\\setting"),
             {open_refused(284, keep + "\\setting")},
             {keep + "\\setting"},
             -11},
            {failing("QuarantineArea"), {set_refused("QuarantineArea")}, {keep + "\\setting"}, -11},
        });
  check(import_filter_action, files, {},
        {{{"actionFile.txt", "FileNum=1:1", "FileNum=1:0"},
          {"FilterAction [467]: " + reason("REG_EMPTY", "Classification list")},
          kEverything}});
  auto const save_unknown = [](char const*, char const* regfile) {
    _tag_ACTION action;
    action.actionType = 0x10000;
    return save_action(regfile, "A", action, nullptr) ? 0 : -11;
  };
  EXPECT_EQ(run(save_unknown, {}), -11);
  EXPECT_EQ(logged(), Lines{"Error [437]: Unknown action type 65536"});
}

TEST_F(Importers, ConfigSettingsArriveUpToTheFirstFailure) {
  std::string const key = "registry\\config", manager = key + "\\FilterManager";
  std::string const limits = manager + "\\0001\\0001", front_limit = manager + "\\0002";
  std::string const areas = key + "\\Classification\\0001\\0003\\QuarantineArea";
  Lines const from_limits = {manager, areas}, from_front_limit = {front_limit, areas};
  auto exceptions = [](char const* from, char const* to) {
    return Fault{"excepton.txt", from, to};
  };
  auto scan = [](char const* from, char const* to) { return Fault{"scanlimit.txt", from, to}; };
  auto quarantine = [](char const* from, char const* to) {
    return Fault{"quarantine.txt", from, to};
  };
  check(import_config, example(), {areas + "\\Old"},
        {
            {{"excepton.txt"}, {unreadable(122, "excepton.txt")}, kEverything, -13, 1},
            {exceptions("Encr", "encr"),
             {no_value("common.EncryptedMessageCls", "excepton.txt")},
             kEverything,
             -13,
             1},
            {failing(key), {open_refused(137, key)}, kEverything, -13, 1},
            {failing("ProcessErrorCls"), {set_refused("ProcessErrorCls")}, kEverything, -13, 1},
            {{"scanlimit.txt"}, {unreadable(162, "scanlimit.txt")}, from_limits, -14, 1},
            {scan("MultipleCleanLayer=1", "MultipleCleanLayer=2"),
             {no_value("common.MultipleCleanLayer", "scanlimit.txt")},
             from_limits,
             -14,
             1},
            {failing(limits), {open_refused(182, limits)}, from_limits, -14, 1},
            {failing("MaxVirusCount"), {set_refused("MaxVirusCount")}, from_limits, -14, 1},
            {scan("uiMax", "Max"),
             {no_value("common.uiMaxFrontScanSize", "scanlimit.txt")},
             from_front_limit,
             -14,
             1},
            {failing(front_limit), {open_refused(204, front_limit)}, from_front_limit, -14, 1},
            {failing(areas), {open_refused(26, areas), open_refused(35, areas)}, {areas}, -12, 1},
            {failing("Old"), {refused(44, "nvreg_deleteKey", "Old")}, {areas}, -12, 1},
            {{"quarantine.txt"}, {unreadable(55, "quarantine.txt")}, {areas}, -12},
            {quarantine("FileNum=1", "FileNum=2"),
             {no_value("common.FileNum", "quarantine.txt")},
             {areas},
             -12},
            {quarantine("[area3]", "[area4]"),
             {no_value("area3.AreaName", "quarantine.txt")},
             {areas + "\\Cardiff"},
             -12},
            {failing(areas + "\\Spam"),
             {open_refused(78, areas + "\\Spam")},
             {areas + "\\Spam", areas + "\\Cardiff"},
             -12},
            {failing("AreaName"), {set_refused("AreaName")}, {areas}, -12},
        });
  check(import_config, example(), {},
        {{quarantine("FileNum=1:3", "FileNum=1:0"),
          {"Error [26]: " + reason("REG_EMPTY", "The task name")},
          {areas}}});
}

TEST_F(Importers, ExtraFiltersSkipWhatIsBroken) {
  auto with = [](char const* from, char const* to) { return Fault{"xfilter.txt", from, to}; };
  auto no = [](char const* value) { return Lines{no_value(value, "xfilter.txt")}; };
  Lines const bounces = {"XFilter\\Bounces"}, shop = {"XFilter\\Siopa"}, filters = {"XFilter\\"};
  check(import_xfilter, example(), {"XFilter\\Old 1", "XFilter\\Old 2"},
        {
            {{"xfilter.txt"}, {}, kEverything},
            {with("filterNum=1:3", "filterNum=1:0"), {}, filters},
            {with("filterNum=1:3", "filterNum=1:-1"), {}, filters},
            {with("enable=1", "enable=2"), no("common.enable"), kEverything},
            {with("filterNum=", "FilterNum="), no("common.filterNum"), filters},
            {with("Name=2:Bounces", "name=2:"), no("filter1.Name"), bounces},
            {with("Location=1:3", "Location=1"), no("filter1.Location"), bounces},
            {with("CaseSensitive=1:0\npatternNum=1:3", ""), no("filter1.CaseSensitive"), bounces},
            {with("patternNum=1:1", ""), no("filter3.patternNum"), {"XFilter\\Siopa:Pattern"}},
            {with("Pattern1=2:X", "Pattern2=2:X"),
             no("filter2_pattern.Pattern1"),
             {"XFilter\\Scanner test:Pattern 1"}},
            {with("filterNum=1:3", "filterNum=1:2000000000"),
             given_up(351, "filters", "xfilter.txt", 4, "filter", ".Name"),
             {}},
            {with("patternNum=1:1", "patternNum=1:2000000000"),
             given_up(385, "patterns of filter3_pattern", "xfilter.txt", 1,
                      "filter3_pattern.Pattern"),
             {}},
            {failing("list"),
             {"Error [425]: " + reason("REG_FAIL2", "nvreg_enumSubkey", NVREG_STORE_WRITE)},
             {},
             0,
             2},
            {failing("Siopa"), {open_refused(337, "Siopa")}, shop},
            {failing("Pattern 2"),
             {set_refused("Pattern 2")},
             {bounces[0] + " of forged mail:Pattern 2"}},
            {failing("Old 1"), {refused(425, "nvreg_deleteKey", "Old 1")}, {}, 0, 1},
            {failing("XFilter"), {open_refused(410, "XFilter")}, kEverything, 0, 2},
        });
  // That there was no filter to remove is not told, nor with a failure that follows.
  check(import_xfilter, example(), {}, {{failing("Siopa"), {open_refused(337, "Siopa")}, shop}});
  EXPECT_EQ(run(import_xfilter, {{"xfilter.txt/inside", ""}}), 0);
  EXPECT_EQ(logged(), Lines{unreadable(434, "xfilter.txt")}) << "a folder";
}

TEST_F(Importers, AddressListsArriveUpToTheFirstFailure) {
  auto with = [](char const* from, char const* to) { return Fault{"address.txt", from, to}; };
  auto no = [](char const* value) { return Lines{no_value(value, "address.txt")}; };
  std::string const lists = "registry\\policy\\AddressList",
                    path = "registry\\policy\\\\AddressList";
  Lines const from_second = {lists + "\\CardiffStaff", lists + "\\Partners"};
  EXPECT_EQ(run(import_addr_list, example()), 0);
  EXPECT_EQ(pauses, 3u);
  check(import_addr_list, example(), {lists + "\\Old"},
        {
            {failing(path), {open_refused(55, path)}, kEverything, -8, 1},
            {failing("Old"),
             {refused(64, "nvreg_deleteKey", "Old", "Remove address error")},
             kEverything,
             -11,
             1},
            {{"address.txt"}, {unreadable(81, "address.txt")}, kEverything, -8},
            {with("Num=1", "num=1"), no("common.Num"), kEverything, -8},
            {with("Num=1:3", "Num=1:0"), {}, kEverything},
            {with("Num=1:3", "Num=1:4"), no("addressList4.Name"), {}, -8},
            {with("comment=2:Kept", ""), no("addressList2.comment"), from_second, -8},
            {with("Name=2:CardiffStaff", "Name=2:Directors"),
             {"Address list error: [0]: " +
              reason("REG_FAIL", "nvpol_createAddrList", "Directors", NVREG_EXISTS)},
             from_second,
             -8},
            {with("address=2:files@payroll.example;", "address=2:;\nx=2:"),
             {"Address list error [0]: " + reason("REG_EMPTY", "setaddress: address")},
             {lists + "\\Partners:address"},
             -8},
        });
}

TEST_F(Importers, MiscellaneousValuesArriveUpToTheFirstFailure) {
  auto with = [](char const* from, char const* to) { return Fault{"misc.txt", from, to}; };
  auto no = [](char const* value) { return Lines{no_value(value, "misc.txt")}; };
  std::string const delivery = "registry\\config\\Delivery", reports = "registry\\config\\Reports";
  Lines const from_template = {reports + ":TemplateId", "registry\\config\\Console"};
  Lines const from_title = {reports, "registry\\config\\Console"};
  Lines from_list = from_template;
  from_list.push_back(reports + "\\Weekly:Attachments");
  check(import_misc, example(), {},
        {
            {with("SectionNum=1:9", "SectionNum=1:0"), {}, kEverything},
            {{"misc.txt"}, {unreadable(23, "misc.txt")}, kEverything, -15},
            {with("SectionNum=1", "SectionNum=2"), no("common.SectionNum"), kEverything, -15},
            {with("SectionNum=1:9", "SectionNum=1:10"), no("Section10.KeyName"), {}, -15},
            {with("ValueName=2:Title", ""), no("Section5.ValueName"), from_title, -15},
            {with("Value=3:\n", "Value=5:\n"),
             {"Error [130]: read value [Section7.Value] from misc.txt failed."},
             from_list,
             -15},
            {failing(reports + "\\Weekly"),
             {open_refused(63, reports + "\\Weekly")},
             from_title,
             -15},
            {failing("Attachments"), {set_refused("Attachments")}, from_list, -15},
            {failing("TemplateId"), {"Error [246]: set value failed."}, from_template, -15},
            // The root outlives each section that names it, and a value may have no name.
            {with(("KeyName=2:" + delivery).c_str(), "KeyName=2:"), {}, {delivery}, 0, 4},
            {with("ValueName=2:RetryMinutes", "ValueName=2:"),
             {},
             {delivery + ":RetryMinutes"},
             0,
             1},
        });
}

}  // namespace
