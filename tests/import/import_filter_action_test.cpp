// Classifications and their actions: every type with its settings, and what ends the import.
#include "import_fixture.h"
#include "importers.h"

namespace {

std::string const kClasses = "registry\\policy\\Classification";
std::string const kFolder = "/opt/norva/zeva/queue/archive";

std::string index(int files) {
  return "[common]\nFileNum=1:" + std::to_string(files) + "\n";
}

std::string head(std::string const& name, int actions, std::string const& hidden = "0") {
  return "[common]\nhidden=2:" + hidden + "\nactionnum=1:" + std::to_string(actions) +
         "\nname=2:" + name + "\nDisplayName=2:" + name + " shown\nComment=2:about " + name + "\n";
}

std::string action(int number, int type, std::string const& settings = "") {
  std::string const n = std::to_string(number);
  return "[action" + n + "]\nname=2:act" + n + "\ncomment=2:c" + n + "\ndisplayName=2:d" + n +
         "\norder=1:" + n + "\nactionType=1:" + std::to_string(type) + "\n" + settings;
}

Lines stored_action(int number, int type, Lines const& settings) {
  std::string const n = std::to_string(number), key = "\\actions\\act" + n;
  Lines lines = {key + ":order=DW " + n, key + ":comment=SZ c" + n, key + ":displayName=SZ d" + n,
                 key + ":actionType=DW " + std::to_string(type)};
  for (std::string const& line : settings) lines.push_back(key + "\\setting:" + line);
  return lines;
}

std::string moved(std::string const& shown_name) {
  return "Warning: change archive folder to " + kFolder + "\n\tfilter action: " + shown_name +
         "\n\toriginal path: " + kFolder;
}

struct TypeCase {
  int type;
  std::string settings;
  Lines stored;
};

std::string const kForward = "ForwardLists=2:a;b\nFrom=2:f\nSubject=2:s\nContent=2:x\x01\x02y\n";
Lines const kStoredForward = {"ForwardLists=SZ a;b", "From=SZ f", "Subject=SZ s",
                              "Content=SZ x\r\ny"};
std::string const kNotify =
    "SpecifiedAddress=2:a@b\nMailTargetType=1:1\nSubject=2:s\nAttachment=1:2\nOtherAddress=2:o\n"
    "BccOrCc=1:3\nContent=2:x\n";
Lines const kStoredNotify = {
    "SpecifiedAddress=SZ a@b", "MailTargetType=DW 1", "Subject=SZ s", "Attachment=DW 2",
    "OtherAddress=SZ o",       "BccOrCc=DW 3",        "Content=SZ x"};
Lines const kNone = {"=SZ "};

TypeCase const kTypes[] = {
    {0x10001, "", kNone},
    {0x10002, "PostponeTime=1:60\n", {"PostponeTime=DW 60"}},
    {0x10003, "QuarantineArea=2:/anywhere\n", {"QuarantineArea=SZ /anywhere"}},
    {0x10004, kForward, kStoredForward},
    {0x10005, kForward, kStoredForward},
    {0x10006, "ArchiveFolder=2:/tmp\n", {"ArchiveFolder=SZ " + kFolder}},
    {0x10007, "ArchiveFolder=2:" + kFolder + "\n", {"ArchiveFolder=SZ " + kFolder}},
    {0x10008, "ArchiveMailAccount=2:a@b\n", {"ArchiveMailAccount=SZ a@b"}},
    {0x10009, "ArchiveMailAccount=2:\n", {"ArchiveMailAccount=SZ "}},
    {0x1000A, "", kNone},
    {0x20001, kNotify + "Administrator=2:adm\n", kStoredNotify + Lines{"Administrator=SZ adm"}},
    {0x20001, kNotify, kStoredNotify + Lines{"Administrator=SZ "}},
    {0x20002, "Content=2:x\n", {"Content=SZ x"}},
    {0x20003, "", kNone},
    {0x20004, "", kNone},
    {0x20005, "", kNone},
};

class ImportFilterAction : public ImportTest {};

TEST_F(ImportFilterAction, StoresEveryTypeWithItsSettings) {
  std::string text;
  Lines expected = {":displayName=SZ All shown", ":comment=SZ about All"};
  int number = 0;
  for (TypeCase const& type : kTypes) {
    text += action(++number, type.type, type.settings);
    expected = expected + stored_action(number, type.type, type.stored);
  }
  EXPECT_EQ(run(import_filter_action,
                {{"actionFile.txt", index(1)}, {"action1.txt", head("All", number) + text}}),
            0);
  EXPECT_EQ(logged().back(), moved("d6"));
  EXPECT_EQ(values(kClasses + "\\All"), expected);
}

TEST_F(ImportFilterAction, EndsAtTheFirstFailure) {
  Export const good = {{"actionFile.txt", index(1)},
                       {"action1.txt", head("A", 1, "1") + action(1, 0x20002, "Content=2:x\n")}};
  auto with = [&](char const* from, char const* to) {
    return changed(good, "action1.txt", from, to);
  };
  auto no = [](char const* value) { return no_value(value, "action1.txt"); };
  auto open = [](int code, std::string const& key) {
    return refused(code, "nvreg_createKey", key);
  };
  auto set = [](char const* name) { return refused(258, "nvreg_setValue", name); };
  std::string const cls = kClasses + "\\A", act = cls + "\\actions\\act1";
  struct {
    Export files;
    std::string failing;
    std::string log;
  } const cases[] = {
      {good, kClasses, open(461, kClasses)},
      {good, "Old", refused(474, "nvreg_deleteKey", "Old", "Remove FilterAction error")},
      {{}, "", "Error [484]: read actionFile.txt failed."},
      {changed(good, "actionFile.txt", "N", "n"), "", no_value("common.FileNum", "actionFile.txt")},
      {without(good, "action1.txt"), "", "Error [509]: read action1.txt failed."},
      {with("hidden", "Hidden"), "", no("common.hidden")},
      {with("Comment", "comment"), "", no("common.Comment")},
      {with("name=2:A\n", "name=2:\n"), "",
       "FilterAction error [533]: " + reason("REG_EMPTY", "createclass: iname")},
      {good, cls, open(547, cls)},
      {good, "hidden", set("hidden")},
      {with("Content", "content"), "", no("action1.Content")},
      {with("1:131074", "1:65536"), "", "Error [240]: Unknown action type 65536"},
      {with("1:131074", "1:131078"), "", "Error [240]: Unknown action type 131078"},
      {with("1:131074", "1:0"), "", "Error [240]: Unknown action type 0"},
      {good, act, open(257, act)},
      {good, "displayName", set("displayName")},
      {good, act + "\\setting", open(284, act + "\\setting")},
      {good, "Content", set("Content")},
  };
  for (auto const& [files, failing, log] : cases) {
    SCOPED_TRACE(log);
    EXPECT_EQ(
        run(import_filter_action, {{"actionFile.txt", index(1)}, {"action1.txt", head("Old", 0)}}),
        0);
    EXPECT_EQ(run(import_filter_action, files, failing), -11);
    EXPECT_EQ(logged(), Lines{log});
  }
}

TEST_F(ImportFilterAction, ReplacesClassificationsAndHidesThem) {
  auto attributes = [](std::string const& n) {
    return Lines{"\\" + n + ":displayName=SZ " + n + " shown", "\\" + n + ":comment=SZ about " + n};
  };
  Export const files = {{"actionFile.txt", index(4)},
                        {"action1.txt", head("Old", 0, "1 ")},
                        {"action2.txt", head("B", 0, "yes")},
                        {"action3.txt", head("C", 0, "11")},
                        {"action4.txt", head("D", 0, "01x")}};
  std::string const none = "FilterAction [467]: " + reason("REG_EMPTY", "Classification list");
  // Half an action is stored as far as its general part could be read.
  Export const malformed = {
      {"actionFile.txt", index(1)},
      {"action1.txt", head("A", 1) + "[action1]\nname=2:act\ncomment=2:c\ndisplayName=2:d\n"}};
  check(import_filter_action, kClasses, [this] { put(kClasses + "\\Old", "left"); },
        {{files,
          "",
          {},
          attributes("Old") + Lines{"\\Old:hidden=SZ 1"} + attributes("B") + attributes("C") +
              attributes("D") + Lines{"\\D:hidden=SZ 01x"}},
         {{{"actionFile.txt", index(0)}}, "", {}, {}},
         {malformed,
          "",
          {no_value("action1.order", "action1.txt")},
          attributes("A") + Lines{"\\A\\actions\\act:order=DW 0", "\\A\\actions\\act:comment=SZ c",
                                  "\\A\\actions\\act:displayName=SZ d",
                                  "\\A\\actions\\act:actionType=DW 0",
                                  "\\A\\actions\\act\\setting:=SZ "}}});
  check(import_filter_action, kClasses, [] {}, {{{{"actionFile.txt", index(0)}}, "", {none}, {}}});
}

}  // namespace
