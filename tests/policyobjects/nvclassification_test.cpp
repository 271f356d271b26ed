// Classifications and actions over the bundled library and the real server.

#include "nvclassification.h"

#include <memory>

#include "policy_store.h"

using testing::ElementsAre;
using testing::Pair;

namespace {

class Classifications : public PolicyStoreTest {
 protected:
  // An open action of group, closed.
  void make_action(_NvPolComHandle* group, char const* name, char const* displayname) {
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
  _NvPolComHandle* none = nullptr;
  _NvPolComHandle* group = hive_.createclass("c", "d", "");
  _NvPolComHandle* unnamed = hive_.createclass("unnamed", "", "why");
  _NvPolComHandle* gone = hive_.createclass("gone", "d", "");
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
      {DOING(hive_.getallaction(none, attrs)), empty("getallaction: phdl")},
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
  for (_NvPolComHandle* handle : {group, unnamed}) EXPECT_EQ(hive_.closeclass(handle), 0);
}

TEST_F(Classifications, AnEmptyHiveIsAFailureAndOneBesideARuleStays) {
  Texts names{"before"};
  EXPECT_EQ(hive_.getclassnames(names), -1);
  EXPECT_EQ(hive_.geterror(), empty("Classification list"));
  EXPECT_THAT(names, ElementsAre("before"));

  // Created by its attributes without a trace of the failed look for it; then changed by them.
  for (char const* shown : {"first", "second"}) {
    EXPECT_EQ(hive_.setclassification("Keep", {shown, "c"}, {"ignored"}, {}), 0);
    EXPECT_EQ(hive_.geterror(), "");
    _NvPolComHandle* group = hive_.openclass("Keep");
    std::string text;
    std::string comment;
    EXPECT_EQ(hive_.getclassattr(group, text, comment), 0);
    EXPECT_EQ(text, shown);
    EXPECT_EQ(hive_.closeclass(group), 0);
    EXPECT_EQ(group, nullptr);
  }

  Nvregentry outcome("Bulk", NVREG_STRING, std::string("Keep"));
  std::string const rule = kPolicy + "\\Rule\\Mail\\rules\\Sales";
  ASSERT_EQ(registry_.nvsetentry(rule + "\\tasks\\AV\\Classification", outcome), 0);
  EXPECT_EQ(hive_.deleteclass("Keep"), -1);
  EXPECT_EQ(hive_.geterror(), message("REG_REFERENCE", "nvpol_checkReferInRule", "Keep", "Sales"));
  EXPECT_EQ(hive_.getclassnames(names), 0);
  EXPECT_THAT(names, ElementsAre("before", "Keep"));
  ASSERT_EQ(registry_.nvregdeletevalue(rule + "\\tasks\\AV\\Classification", "Bulk"), 0);
  EXPECT_EQ(hive_.deleteclass("Keep"), 0);
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
}

// The random walk: what the hive should hold.
struct ClassModel {
  std::string displayname;
  std::string comment;
  Ordered<Nvactionattr> actions;
};

class ClassificationWalk : public PolicyStoreTest {
 protected:
  Nvactionattr some_attributes() {
    return {"", dice_.text(), dice_.text(), dice_.number(), dice_.number(), dice_.number()};
  }

  // Does one thing to hive and model; true when both agree on whether it could be done.
  bool step() {
    std::string const name = dice_.name();
    size_t const what = dice_.below(8);
    if (what == 0) {
      std::string const shown = dice_.text();
      std::string const comment = dice_.text();
      _NvPolComHandle* made = hive_->createclass(name, shown, comment);
      bool const done = made && hive_->closeclass(made) == 0;
      return done == model_.add(name, {shown.substr(0, 256), comment.substr(0, 512), {}});
    }
    if (what == 1) return (hive_->deleteclass(name) == 0) == model_.remove(name);
    ClassModel* held = model_.find(name);
    _NvPolComHandle* group = hive_->openclass(name);
    if (!held || !group) return !held && !group;
    bool const agreed = what == 2 ? set_attributes(group, *held) : act(what, group, *held);
    return hive_->closeclass(group) == 0 && agreed;
  }

  bool set_attributes(_NvPolComHandle* group, ClassModel& held) {
    held.displayname = dice_.text();
    held.comment = dice_.text();
    bool const done = hive_->setclassattr(group, held.displayname, held.comment) == 0;
    held.displayname.resize(std::min<size_t>(held.displayname.size(), 256));
    held.comment.resize(std::min<size_t>(held.comment.size(), 512));
    return done;
  }

  bool act(size_t what, _NvPolComHandle* group, ClassModel& held) {
    std::string const name = dice_.name();
    if (what == 3) return (hive_->deleteaction(group, name) == 0) == held.actions.remove(name);
    Nvactionattr attr = some_attributes();
    Nvactionattr const given = attr;
    attr.displayname.resize(std::min<size_t>(attr.displayname.size(), 256));
    attr.comment.resize(std::min<size_t>(attr.comment.size(), 512));
    if (what == 4) {
      Nvactionattr* action = held.actions.find(name);
      if (action) *action = attr;
      return (hive_->setaction(group, name, given) == 0) == (action != nullptr);
    }
    int32_t status = 0;
    _NvPolComHandle* made = hive_->createaction(group, name, given);
    if (made) nvpol_closeAction(made, &status);
    return (made && status == 0) == held.actions.add(name, attr);
  }

  void compare() {
    Texts names;
    EXPECT_EQ(hive_->getclassnames(names), model_.empty() ? -1 : 0);
    ASSERT_EQ(names, model_.names());
    for (auto const& [name, held] : model_) {
      _NvPolComHandle* group = hive_->openclass(name);
      std::string shown;
      std::string comment;
      EXPECT_EQ(hive_->getclassattr(group, shown, comment), 0);
      ASSERT_TRUE(shown == held.displayname && comment == held.comment) << name;
      Texts actions;
      std::vector<Nvactionattr> attrs;
      EXPECT_EQ(hive_->getactionnames(name, actions), held.actions.empty() ? -1 : 0);
      EXPECT_EQ(hive_->getallaction(group, attrs), held.actions.empty() ? -1 : 0);
      ASSERT_EQ(actions, held.actions.names());
      ASSERT_EQ(attrs.size(), actions.size());
      for (size_t i = 0; i < attrs.size(); ++i) {
        Nvactionattr const& expected = held.actions[i].second;
        ASSERT_TRUE(attrs[i].displayname == expected.displayname &&
                    attrs[i].comment == expected.comment && attrs[i].order == expected.order &&
                    attrs[i].actiontype == expected.actiontype && attrs[i].extra == expected.extra)
            << name << "\\" << actions[i];
      }
      EXPECT_EQ(hive_->closeclass(group), 0);
    }
  }

  Dice dice_;
  Ordered<ClassModel> model_;
  std::unique_ptr<NvClassification> hive_;
};

TEST_F(ClassificationWalk, AgreesWithAPlainModel) {
  SCOPED_TRACE("POLICY_SEED=" + std::to_string(dice_.seed()));
  for (int i = 0; i < 4000; ++i) {
    if (i % 1000 == 0) restart([&] { hive_.reset(); });
    if (i % 200 == 0) hive_ = std::make_unique<NvClassification>(kPolicy, home_.address());
    ASSERT_TRUE(step()) << "step " << i << ": " << hive_->geterror();
    if (i % 50 == 49) compare();
    if (HasFatalFailure()) return;
  }
}

}  // namespace
