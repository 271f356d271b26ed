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

std::string general(int number, int type) {
  std::string const n = std::to_string(number);
  return "order=1:" + n + "\ncomment=2:c" + n + "\ndisplayName=2:d" + n +
         "\nactionType=1:" + std::to_string(type) + "\n";
}

std::string action(int number, int type, std::string const& settings) {
  std::string const n = std::to_string(number);
  return "[action" + n + "]\nname=2:act" + n + "\n" + general(number, type) + settings;
}

std::string const kForward = "ForwardLists=2:a;b\nFrom=2:f\nSubject=2:s\nContent=2:x\x01\x02y\n";
std::string const kNotify =
    "SpecifiedAddress=2:a@b\nMailTargetType=1:1\nSubject=2:s\nAttachment=1:2\nOtherAddress=2:o\n"
    "BccOrCc=1:3\nContent=2:x\n";

struct {
  int type;
  std::string settings;
  std::string stored = settings;
} const kTypes[] = {
    {0x10001, ""},
    {0x10002, "PostponeTime=1:60\n"},
    {0x10003, "QuarantineArea=2:/anywhere\n"},
    {0x10004, kForward},
    {0x10005, kForward},
    {0x10006, "ArchiveFolder=2:/tmp\n", "ArchiveFolder=2:" + kFolder + "\n"},
    {0x10007, "ArchiveFolder=2:" + kFolder + "\n"},
    {0x10008, "ArchiveMailAccount=2:a@b\n"},
    {0x10009, "ArchiveMailAccount=2:\n"},
    {0x1000A, ""},
    {0x20001, kNotify + "Administrator=2:adm\n"},
    {0x20001, kNotify, kNotify + "Administrator=2:\n"},
    {0x20002, "Content=2:x\n"},
    {0x20003, ""},
    {0x20004, ""},
    {0x20005, ""},
};

class ImportFilterAction : public ImportTest {};

TEST_F(ImportFilterAction, StoresEveryTypeWithItsSettings) {
  std::string text;
  Lines expected = {":displayName=SZ All shown", ":comment=SZ about All"};
  int number = 0;
  for (auto const& [type, settings, stored] : kTypes) {
    text += action(++number, type, settings);
    std::string const key = "\\actions\\act" + std::to_string(number);
    expected = expected + shown(key + ":", general(number, type));
    expected = expected +
               (stored.empty() ? Lines{key + "\\setting:=SZ "} : shown(key + "\\setting:", stored));
  }
  EXPECT_EQ(run(import_filter_action,
                {{"actionFile.txt", index(1)}, {"action1.txt", head("All", number) + text}}),
            0);
  EXPECT_EQ(logged(), Lines{"Warning: change archive folder to " + kFolder +
                            "\n\tfilter action: d6\n\toriginal path: " + kFolder});
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
    put(kClasses + "\\Old", "left");
    EXPECT_EQ(run(import_filter_action, files, failing), -11);
    EXPECT_EQ(logged(), Lines{log});
  }
}

// A hidden classification, one that is not, and half an action, which is stored as far as its
// general part could be read.
TEST_F(ImportFilterAction, ReplacesClassifications) {
  Export const files = {
      {"actionFile.txt", index(3)},
      {"action1.txt", head("Old", 0, "01x")},
      {"action2.txt", head("B", 0, "11")},
      {"action3.txt", head("C", 1) + "[action1]\nname=2:act\ncomment=2:c\ndisplayName=2:d\n"}};
  auto attributes = [](std::string const& n) {
    return shown("\\" + n + ":", "displayName=2:" + n + " shown\ncomment=2:about " + n + "\n");
  };
  Lines const half =
      shown("\\C\\actions\\act:", "order=1:0\ncomment=2:c\ndisplayName=2:d\nactionType=1:0\n");
  Lines const stored = attributes("Old") + Lines{"\\Old:hidden=SZ 01x"} + attributes("B") +
                       attributes("C") + half + Lines{"\\C\\actions\\act\\setting:=SZ "};
  Export const nothing = {{"actionFile.txt", index(0)}};
  check(import_filter_action, kClasses, [this] { put(kClasses + "\\Old", "left"); },
        {{files, "", {no_value("action1.order", "action3.txt")}, stored}, {nothing, "", {}, {}}});
  std::string const none = "FilterAction [467]: " + reason("REG_EMPTY", "Classification list");
  check(import_filter_action, kClasses, [] {}, {{nothing, "", {none}, {}}});
}

}  // namespace
