// Classifications and actions over the bundled library and the real server.

#include "nvclassification.h"

#include <tuple>

#include "policy_store.h"

using testing::ElementsAre;
using testing::Pair;

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
      {DOING(closed.openclass("c")), empty("openclass: ahive")},
      {DOING(closed.createclass("c", "d", "")), empty("createclass: ahive")},
      {DOING(closed.createclass("", "d", "")), empty("createclass: iname")},
      {DOING(closed.deleteclass("c")), empty("deleteclass: ahive\n")},
      {DOING(closed.deleteclass("")), empty("deleteclass: iname")},
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
      {DOING(hive_.deleteclass("x")), fail("nvpol_deleteClassification", "x", kGone)},
      {DOING(hive_.createclass(std::string(128, 'n'), "d", "")),
       fail("nvpol_createClassification ", std::string(128, 'n'), NVREG_BAD_NAME)},
      // A name is no path.
      {DOING(hive_.createclass("c\\d", "d", "")),
       fail("nvpol_createClassification ", "c\\d", NVREG_BAD_NAME)},
      {DOING(hive_.openclass("c\\actions")),
       fail("nvpol_openClassification ", "c\\actions", NVREG_BAD_NAME)},
      {DOING(hive_.deleteclass("\\c")), fail("nvpol_deleteClassification", "\\c", NVREG_BAD_NAME)},
      {DOING(hive_.getclassattr(none, text, text)), empty("getclassattr: phdl")},
      {DOING(hive_.getclassattr(gone, text, text)), fail2("nvpol_getClassificationAttrib", kGone)},
      {DOING(hive_.getclassattr(unnamed, text, text)), empty("getclassattr: get displayname")},
      {DOING(hive_.setclassattr(none, "d", "")), empty("setclassattr: phdl")},
      {DOING(hive_.setclassattr(gone, "d", "")), fail2("nvpol_setClassificationAttrib", kGone)},
      {DOING(hive_.getactionnames(unnamed, names)), empty("getactionnames: action list")},
      {DOING(hive_.getactionnames(none, names)), fail("nvpol_enumAction", "", NVREG_BAD_ARGUMENT)},
      {DOING(hive_.createaction(none, "a", attr)), empty("createaction: ahive")},
      {DOING(hive_.createaction(group, "", attr)), empty("createaction: iname")},
      {DOING(hive_.createaction(group, "a", attr)), fail("nvpol_createAction ", "a", NVREG_EXISTS)},
      {DOING(hive_.getaction(none, "a", attr)), empty("getaction: phdl")},
      {DOING(hive_.getaction(group, "", attr)), empty("getaction: iname")},
      {DOING(hive_.getaction(group, "x", attr)), fail("nvpol_openAction", "x", kGone)},
      {DOING(hive_.getaction(group, "unnamed", attr)),
       empty("getaction: displayname") + fail2("nvpol_closeAction", kFailed), "nvpol_closeAction"},
      {DOING(hive_.setaction(none, "a", attr)), empty("setaction: phdl")},
      {DOING(hive_.setaction(group, "", attr)), empty("setaction: iname")},
      {DOING(hive_.setaction(group, "x", attr)), fail("nvpol_openAction", "x", kGone)},
      {DOING(hive_.setallaction(group, {"x", "a"}, {attr, attr})),
       fail("nvpol_openAction", "x", kGone)},
      {DOING(hive_.setallaction(group, {"a"}, {})), empty("setallaction: attrs")},
      {DOING(hive_.setaction(group, "a", attr)), fail2("nvpol_setActionAttrib", kFailed),
       "nvpol_setActionAttrib"},
      {DOING(hive_.getaction(group, "a", attr)), fail2("nvpol_getActionAttrib", kFailed),
       "nvpol_getActionAttrib"},
      {DOING(hive_.getallaction(none, attrs)), empty("getallaction: phdl")},
      {DOING(hive_.getallaction(group, attrs)), empty("getaction: displayname")},
      {DOING(hive_.deleteaction(none, "a")), empty("deleteaction: phdl")},
      {DOING(hive_.deleteaction(group, "x")), message("REG_FAILE2", "nvpol_deleteAction", kGone)},
      {DOING(hive_.getactionsettings(unset.get(), settings)),
       empty("getactionsettings: nvgetallentry result")},
      {DOING(hive_.getactionsettings(none, settings)), empty("nvgetallentry hdl")},
      {DOING(hive_.closeclass(gone)), fail2("nvpol_closeClassification", kFailed),
       "nvpol_closeClassification"},
      {DOING((hive_.closeclasshive(), -1l)), fail2("nvpol_closeClassificationHive", kFailed),
       "nvpol_closeClassificationHive"},
  };
  expect_failures(hive_, hive_failures);
  EXPECT_EQ(attr.displayname + attr.comment, "keptkept") << "a failed read changes nothing";
  ASSERT_EQ(attrs.size(), 2u) << "an entry also for what cannot be read";
  EXPECT_EQ(attrs[0].order, 7) << "set although another could not be";
  for (Handle handle : {group, unnamed}) EXPECT_EQ(hive_.closeclass(handle), 0);
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
  int32_t status = 0;
  nvreg_setValue(key.get(), "bytes", NVREG_BINARY,
                 reinterpret_cast<unsigned char const*>("\x0a\xff"), 2, &status);
  nvreg_setValue(key.get(), "text", NVREG_STRING, reinterpret_cast<unsigned char const*>("%d"), 3,
                 &status);
  std::map<std::string, std::string> settings;
  EXPECT_EQ(hive_.getactionsettings(key.get(), settings), 0);
  EXPECT_THAT(settings, ElementsAre(Pair("bytes", "BI 0a ff "), Pair("list", "MS a;b c;"),
                                    Pair("number", "DW -1"), Pair("text", "SZ %d")));
  Failing const unknown("nvreg_enumValue");
  EXPECT_EQ(hive_.getactionsettings(key.get(), settings), -1);
  EXPECT_EQ(hive_.geterror(), message("REG_FAIL3", "registry type", "number"));
}

// All that an action's attributes hold.
auto fields(Nvactionattr const& attr) {
  return std::tuple(attr.displayname, attr.comment, attr.order, attr.actiontype, attr.extra);
}

struct ClassModel {
  std::string displayname;
  std::string comment;
  Ordered<decltype(fields({}))> actions{};
  bool operator==(ClassModel const&) const = default;
};

class ClassificationWalk : public HiveWalk<NvClassification> {
 protected:
  bool step() override {
    std::string const name = dice_.name();
    std::string const shown = dice_.text();
    std::string const comment = dice_.text();
    ClassModel* held = model_.find(name);
    size_t const what = dice_.below(8);
    if (what == 0) {
      Handle made = hive_->createclass(name, shown, comment);
      bool const done = made && hive_->closeclass(made) == 0;
      return done == model_.add(name, {shown.substr(0, 256), comment.substr(0, 512)});
    }
    if (what == 1) return (hive_->deleteclass(name) == 0) == model_.remove(name);
    Handle group = hive_->openclass(name);
    if (!held || !group) return !held && !group;
    bool agreed;
    if (what == 2) {
      *held = {shown.substr(0, 256), comment.substr(0, 512), held->actions};
      agreed = hive_->setclassattr(group, shown, comment) == 0;
    } else {
      agreed = act(what, group, *held);
    }
    return hive_->closeclass(group) == 0 && agreed;
  }

  bool act(size_t what, Handle group, ClassModel& held) {
    std::string const name = dice_.name();
    if (what == 3) return (hive_->deleteaction(group, name) == 0) == held.actions.remove(name);
    Nvactionattr const attr{
        "", dice_.text(), dice_.text(), dice_.number(), dice_.number(), dice_.number()};
    Nvactionattr cut = attr;
    cut.displayname = attr.displayname.substr(0, 256);
    cut.comment = attr.comment.substr(0, 512);
    if (what == 4) {
      auto* action = held.actions.find(name);
      if (action) *action = fields(cut);
      return (hive_->setaction(group, name, attr) == 0) == (action != nullptr);
    }
    int32_t status = 0;
    Handle made = hive_->createaction(group, name, attr);
    if (made) nvpol_closeAction(made, &status);
    return (made && status == 0) == held.actions.add(name, fields(cut));
  }

  bool agrees() override {
    Ordered<ClassModel> found;
    Texts names;
    EXPECT_EQ(hive_->getclassnames(names), model_.empty() ? -1 : 0);
    for (std::string const& name : names) {
      ClassModel held;
      Handle group = hive_->openclass(name);
      EXPECT_EQ(hive_->getclassattr(group, held.displayname, held.comment), 0);
      Texts actions;
      std::vector<Nvactionattr> attrs;
      int const listed = hive_->getactionnames(name, actions);
      EXPECT_EQ(listed, actions.empty() ? -1 : 0);
      EXPECT_EQ(hive_->getallaction(group, attrs), listed);
      if (attrs.size() != actions.size()) return false;
      for (size_t i = 0; i < attrs.size(); ++i)
        held.actions.emplace_back(actions[i], fields(attrs[i]));
      EXPECT_EQ(hive_->closeclass(group), 0);
      found.emplace_back(name, held);
    }
    return found == model_;
  }

  Ordered<ClassModel> model_;
};

TEST_F(ClassificationWalk, AgreesWithAPlainModel) {
  walk();
}

}  // namespace
