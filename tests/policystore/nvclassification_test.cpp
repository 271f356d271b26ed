// Classifications and actions over the bundled library and the real server.

#include "nvclassification.h"

#include "policy_store.h"
#include "registry_client.h"

using testing::ElementsAre;
using testing::Pair;

using Numbers = std::vector<int32_t>;

namespace {

class Classifications : public PolicyStoreTest {
 protected:
  // An open action of group, closed.
  void make_action(Handle group, char const* name, char const* displayname) {
    int32_t status = 0;
    nvpol_closeAction(hive_.createaction(group, name, {"", displayname, "", 1, 2, 3}), &status);
    EXPECT_EQ(status, 0);
  }

  NvClassification hive_{kPolicy, home_.address()};
};

TEST_F(Classifications, WithoutAHiveEachOperationSaysWhatItLacks) {
  NvClassification closed;
  Texts names;
  Failure const closed_failures[] = {
      {DOING(closed.getclassnames(names)), empty("getclassnames: ahive")},
      {DOING(closed.deleteclass("c")), empty("deleteclass: ahive\n")},
      {DOING(closed.getactionnames("c", names)),
       empty("openclass: ahive") + empty("getactionnames: phdl")},
      {DOING((closed.setfile(kPolicy, "nowhere"), -1l)),
       fail("nvreg_open", "nowhere", NVREG_BAD_ARGUMENT) + empty("polreg.root")},
      {DOING((closed.setfile(kPolicy, home_.address()), closed.openclass("c"))),
       fail2("nvpol_openclassificationHive", kFailed) + empty("openclass: ahive"),
       "nvpol_openClassificationHive"},
  };
  expect_failures(closed, closed_failures);
}

TEST_F(Classifications, RecordEachFailureByItsNameAndTexts) {
  Handle none = nullptr;
  Handle group = hive_.createclass("c", "d", "");
  Handle unnamed = hive_.createclass("unnamed", "", "why");
  Handle gone = hive_.createclass("gone", "d", "");
  EXPECT_EQ(hive_.deleteclass("gone"), 0);
  make_action(group, "a", "d");
  make_action(group, "unnamed", "");
  Texts names;
  std::string text;
  Nvactionattr attr{"kept", "kept", "kept", 7, 8, 9};
  std::vector<Nvactionattr> attrs;
  std::map<std::string, std::string> settings;
  OpenKey unset(registry_, kPolicy + "\\empty");

  Failure const hive_failures[] = {
      {DOING(hive_.createclass("c", "d", "")),
       fail("nvpol_createClassification ", "c", NVREG_EXISTS)},
      {DOING(hive_.openclass("x")), fail("nvpol_openClassification ", "x", kGone)},
      {DOING(hive_.createclass(std::string(128, 'n'), "d", "")),
       fail("nvpol_createClassification ", std::string(128, 'n'), NVREG_BAD_NAME)},
      // A name is no path.
      {DOING(hive_.createclass("c\\d", "d", "")),
       fail("nvpol_createClassification ", "c\\d", NVREG_BAD_NAME)},
      {DOING(hive_.deleteclass("\\c")), fail("nvpol_deleteClassification", "\\c", NVREG_BAD_NAME)},
      {DOING(hive_.getclassattr(gone, text, text)), fail2("nvpol_getClassificationAttrib", kGone)},
      {DOING(hive_.getclassattr(unnamed, text, text)), empty("getclassattr: get displayname")},
      {DOING(hive_.getactionnames(unnamed, names)), empty("getactionnames: action list")},
      {DOING(hive_.createaction(group, "a", attr)), fail("nvpol_createAction ", "a", NVREG_EXISTS)},
      {DOING(hive_.getaction(group, "unnamed", attr)),
       empty("getaction: displayname") + fail2("nvpol_closeAction", kFailed), "nvpol_closeAction"},
      {DOING(hive_.setclassification("c", {"d", ""}, {}, {})),
       fail2("nvpol_closeClassification", kFailed), "nvpol_closeClassification"},
      {DOING(hive_.setallaction(group, {"x", "a"}, {attr, attr})),
       fail("nvpol_openAction", "x", kGone)},
      {DOING(hive_.setallaction(group, {"a"}, {})), empty("setallaction: attrs")},
      {DOING(hive_.setaction(group, "a", attr)), fail2("nvpol_setActionAttrib", kFailed),
       "nvpol_setActionAttrib"},
      {DOING(hive_.getallaction(group, attrs)), empty("getaction: displayname")},
      {DOING(hive_.deleteaction(group, "x")), message("REG_FAILE2", "nvpol_deleteAction", kGone)},
      {DOING(hive_.getactionsettings(unset.get(), settings)),
       empty("getactionsettings: nvgetallentry result")},
      {DOING(hive_.getactionsettings(none, settings)), empty("nvgetallentry hdl")},
      {DOING((hive_.closeclasshive(), -1l)), fail2("nvpol_closeClassificationHive", kFailed),
       "nvpol_closeClassificationHive"},
  };
  expect_failures(hive_, hive_failures);
  EXPECT_EQ(attr.displayname + attr.comment, "keptkept") << "a failed read changes nothing";
  ASSERT_EQ(attrs.size(), 2u) << "an entry also for what cannot be read";
  EXPECT_EQ(attrs[0].order, 7) << "set although another could not be";
  for (Handle handle : {group, unnamed, gone}) EXPECT_EQ(hive_.closeclass(handle), 0);
}

TEST_F(Classifications, KeepWhatTheyAreGiven) {
  std::string const text(600, 'x'), longest(NVPOL_NAME_SIZE - 1, 'n');
  Handle group = hive_.createclass(longest, text, text);
  std::string shown, comment;
  EXPECT_EQ(hive_.getclassattr(group, shown, comment), 0);
  EXPECT_EQ(shown + comment, text.substr(0, 256) + text.substr(0, 512));
  EXPECT_EQ(hive_.setclassattr(group, "new", ""), 0);
  for (char const* name : {"gone", "a", "b"}) make_action(group, name, text.c_str());
  EXPECT_EQ(hive_.deleteaction(group, "gone"), 0);
  EXPECT_EQ(hive_.setaction(group, "b", {"", "d", text, -1, 5, 6}), 0);
  Texts names;
  EXPECT_EQ(hive_.getclassnames(names), 0);
  EXPECT_EQ(hive_.getactionnames(longest, names), 0);
  EXPECT_THAT(names, ElementsAre(longest, "a", "b"));
  std::vector<Nvactionattr> read;
  EXPECT_EQ(hive_.getallaction(group, read), 0);
  for (auto const& [attr, name, note, numbers] :
       {std::tuple(read.at(0), text.substr(0, 256), std::string(), Numbers{1, 2, 3}),
        {read.at(1), "d", text.substr(0, 512), {-1, 5, 6}}}) {
    EXPECT_EQ(attr.displayname + attr.comment, name + note);
    EXPECT_EQ((Numbers{attr.order, attr.actiontype, attr.extra}), numbers);
  }
  EXPECT_EQ(hive_.closeclass(group), 0);
  EXPECT_EQ(hive_.deleteclass(longest), 0);
}

TEST_F(Classifications, AreSetWhetherOrNotTheyAreThere) {
  Texts names{"before"};
  EXPECT_EQ(hive_.getclassnames(names), -1);
  EXPECT_EQ(hive_.geterror(), empty("Classification list"));
  EXPECT_THAT(names, ElementsAre("before"));
  std::string const not_there = fail("nvpol_openClassification ", "Keep", kGone);
  for (auto const& [shown, record] :
       {std::pair<std::string, std::string>{"created", not_there}, {"changed", ""}}) {
    EXPECT_EQ(hive_.setclassification("Keep", {shown, "c"}, {"ignored"}, {}), 0);
    EXPECT_EQ(hive_.geterror(), record);
    EXPECT_EQ(dump(kPolicy + "\\Classification\\Keep"),
              "test\n    string,   displayName=" + shown + "\n    string,   comment=c\n");
  }
  // The first name that cannot be read ends the list.
  set(kPolicy + "\\Classification\\" + std::string(200, 'n'), "displayName", "");
  EXPECT_EQ(hive_.getclassnames(names), 0);
  EXPECT_THAT(names, ElementsAre("before", "Keep"));
  ASSERT_EQ(registry_.nvregdeletekey(OpenKey(registry_, "registry").get(), "test"), 0);
  Failure const gone_failures[] = {
      {DOING(hive_.getclassnames(names)), fail2("nvpol_enumClassification", kGone)},
      {DOING(hive_.deleteclass("Keep")), fail2("nvpol_checkReferInRule", kGone)}};
  expect_failures(hive_, gone_failures);
}

TEST_F(Classifications, ShowsSettingsAsTextByTheirType) {
  OpenKey key(registry_, kPolicy + "\\setting");
  std::vector<Nvregentry> entries(2);
  entries[0].setattributes("number", NVREG_DWORD, 4294967295ul);
  entries[1].setname("list");
  entries[1].setvalue(NVREG_MULTISTRING, Texts{"a", "b c"});
  EXPECT_EQ(hive_.setactionsettings(key.get(), entries), 0);
  RegistryClient client(home_.address());
  EXPECT_EQ(client.set(kPolicy + "\\setting", "bytes", NVREG_BINARY, "\x0a\xff"), 0);
  EXPECT_EQ(client.set(kPolicy + "\\setting", "text", NVREG_STRING, std::string("%d", 3)), 0);
  std::map<std::string, std::string> settings;
  EXPECT_EQ(hive_.getactionsettings(key.get(), settings), 0);
  EXPECT_THAT(settings, ElementsAre(Pair("bytes", "BI 0a ff "), Pair("list", "MS a;b c;"),
                                    Pair("number", "DW -1"), Pair("text", "SZ %d")));
  Failing const unknown("nvreg_enumValue");
  EXPECT_EQ(hive_.getactionsettings(key.get(), settings), -1);
  EXPECT_EQ(hive_.geterror(), message("REG_FAIL3", "registry type", "number"));
}

}  // namespace
