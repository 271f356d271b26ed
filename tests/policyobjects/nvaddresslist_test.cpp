// Address lists over the bundled library and the real server.

#include "nvaddresslist.h"

#include <fstream>
#include <memory>

#include "policy_store.h"

using testing::ElementsAre;

namespace {

_NvPolAddrListAttr attributes(std::string const& displayname, std::string const& comment) {
  _NvPolAddrListAttr attr{};
  zeva::set_field(attr.displayName, displayname);
  zeva::set_field(attr.comment, comment);
  return attr;
}

class AddressLists : public PolicyStoreTest {
 protected:
  NvAddresslist hive_{kPolicy, home_.address()};
};

TEST_F(AddressLists, RecordEachFailureByItsNameAndTexts) {
  Failing no_hive("nvpol_openAddrListHive");
  NvAddresslist closed(kPolicy, home_.address());
  EXPECT_EQ(closed.geterror(), fail2("nvpol_openAddrListHive", kFailed));
  std::vector<Nvnamestringpair> pairs;
  Texts texts;
  _NvPolAddrListAttr attr = attributes("d", "");
  Failure const closed_failures[] = {
      {DOING(closed.getaddrlistsnamepair(pairs)), empty("getaddrlistsname")},
      {DOING(closed.createaddrlist("l", attr)), empty("createaddrlist: ahive")},
      {DOING(closed.setaddress("l", Texts{})), empty("setaddress: address")},
      {DOING(closed.setaddress("l", Texts{"a@x"})), empty("setaddress: ahive")},
  };
  expect_failures(closed, closed_failures);

  ASSERT_EQ(hive_.createaddrlist("l", attr), 0);
  std::string const csv = home_.path() + "/list.csv";
  std::ofstream(csv) << "a@x\nnobody\n";
  Failure const hive_failures[] = {
      {DOING(hive_.createaddrlist("l", attr)), fail("nvpol_createAddrList", "l", NVREG_EXISTS)},
      {DOING(hive_.setaddress("x", Texts{"a@x"})), fail("nvpol_openAddrlist", "x", kGone)},
      {DOING(hive_.setaddress("l", Texts{""})),
       fail("nvpol_insertAddress", "", NVREG_BAD_NAME) + fail2("nvpol_closeAddrList", kFailed),
       "nvpol_closeAddrList"},
      {DOING(hive_.getaddress("l", texts)), message("REG_ADDREMPTY1", "l")},
      {DOING(hive_.importcsvfile("l", csv)),
       message("REG_IMPORTFORMATERR", "nvpol_importAddress", csv, NVPOL_BAD_FORMAT)},
      {DOING(hive_.importcsvfile("l", "/x")), fail("nvpol_importAddress", "/x", kGone)},
      {DOING(hive_.addressfrominame("l", "a@x", false)), fail("nvpol_removeAddress", "a@x", kGone)},
      {DOING(hive_.getgroupsfromaddress("a@x", "exact", "", texts)), message("REG_NOEXIST", "a@x")},
      {DOING(hive_.deleteaddrlist("x")), fail("nvpol_deleteAddrList", "x", kGone)},
  };
  expect_failures(hive_, hive_failures);

  Nvregentry condition("condition1", NVREG_STRING, std::string("*;l"));
  ASSERT_EQ(registry_.nvsetentry(kPolicy + "\\Rule\\Mail", condition), 0);
  EXPECT_EQ(hive_.deleteaddrlist("l"), -1);
  EXPECT_EQ(hive_.geterror(), message("REG_REFERENCE", "nvpol_checkReferInRule", "l", "Mail"));
  EXPECT_EQ(hive_.getaddrlistsname(texts), 0);
  EXPECT_THAT(texts, ElementsAre("l"));
}

TEST(AddressComparison, FollowsMatchAndSensitivity) {
  struct Row {
    char const* first;
    char const* second;
    bool exact, prefix, exact_upper, prefix_upper;
  };
  Row const rows[] = {{"a@x", "a@x", true, true, true, true},
                      {"a@x", "A@X", false, false, true, true},
                      {"a@", "A@X", false, false, false, true},
                      {"a@", "a@x", false, true, false, true},
                      {"a@x", "a@", false, false, false, false},
                      {"", "", false, false, false, false},
                      {"", "a@x", false, false, false, false},
                      {"\xc3\xa4", "\xc3\x84", false, false, false, false},
                      {"[", "{", false, false, false, false}};
  for (Row const& row : rows) {
    SCOPED_TRACE(std::string(row.first) + " " + row.second);
    auto compare = [&](char const* match, char const* sensitivity) {
      return NvAddresslist::comparestring(row.first, row.second, match, sensitivity);
    };
    EXPECT_EQ(compare("exact", "sensitive"), row.exact);
    EXPECT_EQ(compare("part", "sensitive"), row.prefix);
    EXPECT_EQ(compare("exact", "any"), row.exact_upper);
    EXPECT_EQ(compare("", ""), row.prefix_upper);
  }
}

struct ListModel {
  std::string displayname;
  std::string comment;
  Texts addresses;
};

class AddressListWalk : public PolicyStoreTest {
 protected:
  std::string address() {
    return dice_.below(20) == 0 ? dice_.text() + "@" + dice_.text()
                                : "user" + std::to_string(dice_.below(9)) + "@x";
  }

  // Does one thing to hive and model; true when both agree on whether it could be done.
  bool step() {
    std::string const name = dice_.name();
    ListModel* held = model_.find(name);
    switch (dice_.below(10)) {
      case 0: {
        std::string const shown = dice_.text();
        bool const done = hive_->createaddrlist(name, attributes(shown, "c")) == 0;
        return done == model_.add(name, {shown.substr(0, 256), "c", {}});
      }
      case 1:
        return (hive_->deleteaddrlist(name) == 0) == model_.remove(name);
      case 2: {
        std::string const comment = dice_.text();
        bool const done = hive_->setattr(name, attributes("s", comment)) == 0;
        if (held) held->displayname = "s", held->comment = comment.substr(0, 512);
        return done == (held != nullptr);
      }
      case 3: {
        std::string const file = home_.path() + "/list.csv";
        Texts const added = {address(), address()};
        std::ofstream(file) << added[0] << "," << added[1] << "\n";
        bool const done = hive_->importcsvfile(name, file) == 0;
        return add(held, added) == done;
      }
      case 4:
      case 5:
      case 6: {
        std::string const gone = address();
        bool const done = hive_->addressfrominame(name, gone, false) == 0;
        return done == (held && remove(*held, gone));
      }
      default: {
        Texts const added(1 + dice_.below(3), address());
        return add(held, added) == (hive_->setaddress(name, added) == 0);
      }
    }
  }

  static bool add(ListModel* held, Texts const& addresses) {
    if (held) held->addresses.insert(held->addresses.end(), addresses.begin(), addresses.end());
    return held != nullptr;
  }
  static bool remove(ListModel& held, std::string const& address) {
    auto found = std::find(held.addresses.begin(), held.addresses.end(), address);
    if (found == held.addresses.end()) return false;
    held.addresses.erase(found);
    return true;
  }

  void compare() {
    std::vector<Nvnamestringpair> pairs;
    EXPECT_EQ(hive_->getaddrlistsnamepair(pairs), 0);
    ASSERT_EQ(pairs.size(), model_.size());
    std::string const wanted = address();
    Texts holders;
    for (size_t i = 0; i < pairs.size(); ++i) {
      auto const& [name, held] = model_[i];
      ASSERT_EQ(pairs[i].iname, name);
      ASSERT_EQ(pairs[i].displayname, held.displayname);
      _NvPolAddrListAttr attr;
      EXPECT_EQ(hive_->getattr(name, attr), 0);
      ASSERT_EQ(zeva::field_text(attr.comment), held.comment);
      ASSERT_EQ(attr.addressCount, held.addresses.size());
      Texts addresses;
      EXPECT_EQ(hive_->getaddress(name, addresses), held.addresses.empty() ? -1 : 0);
      ASSERT_EQ(addresses, held.addresses);
      if (std::count(addresses.begin(), addresses.end(), wanted) > 0) holders.push_back(name);
    }
    Texts found;
    int const result = hive_->getgroupsfromaddress(wanted, "exact", "sensitive", found);
    EXPECT_EQ(result, holders.empty() ? -1 : 0);
    ASSERT_EQ(found, holders);
  }

  Dice dice_;
  Ordered<ListModel> model_;
  std::unique_ptr<NvAddresslist> hive_;
};

TEST_F(AddressListWalk, AgreesWithAPlainModel) {
  SCOPED_TRACE("POLICY_SEED=" + std::to_string(dice_.seed()));
  for (int i = 0; i < 4000; ++i) {
    if (i % 1000 == 0) restart([&] { hive_.reset(); });
    if (i % 200 == 0) hive_ = std::make_unique<NvAddresslist>(kPolicy, home_.address());
    ASSERT_TRUE(step()) << "step " << i << ": " << hive_->geterror();
    if (i % 100 == 99) compare();
    if (HasFatalFailure()) return;
  }
}

}  // namespace
