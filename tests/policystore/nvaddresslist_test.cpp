// Address lists over the bundled library and the real server.

#include "nvaddresslist.h"

#include "policy_store.h"
#include "textfield.h"

#include <fstream>

using testing::ElementsAre;

namespace {

_NvPolAddrListAttr attributes(std::string const& displayname, std::string const& comment) {
  _NvPolAddrListAttr attr{};
  zeva::fill_field(attr.displayName, displayname);
  zeva::fill_field(attr.comment, comment);
  return attr;
}

class AddressLists : public PolicyStoreTest {
 protected:
  NvAddresslist hive_{kPolicy, home_.address()};
  std::string bad_line(int line) const {
    return message("REG_IMPORTFORMATERR", "nvpol_importAddress", csv_, std::to_string(line),
                   NVPOL_BAD_FORMAT);
  }

  std::string const csv_ = home_.path() + "/list.csv";
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
      {DOING(closed.getaddress("l", texts)), empty("getaddress: ahive")},
      {DOING(closed.setaddress("l", Texts{})), empty("setaddress: address")},
  };
  expect_failures(closed, closed_failures);

  ASSERT_EQ(hive_.createaddrlist("l", attr), 0);
  std::ofstream(csv_) << "a@x\nnobody\n";
  Failure const hive_failures[] = {
      {DOING(hive_.createaddrlist("l", attr)), fail("nvpol_createAddrList", "l", NVREG_EXISTS)},
      {DOING(hive_.setaddress("x", Texts{"a@x"})), fail("nvpol_openAddrlist", "x", kGone)},
      {DOING(hive_.setaddress("l", Texts{""})), fail("nvpol_insertAddress", "", NVREG_BAD_NAME)},
      {DOING(hive_.setattr("l", attr)), fail2("nvpol_closeAddrList", kFailed),
       "nvpol_closeAddrList"},
      {DOING(hive_.getaddress("l", texts)), message("REG_ADDREMPTY1", "l")},
      {DOING(hive_.getaddress("x", texts)), fail("nvpol_openAddrList", "x", kGone)},
      {DOING(hive_.getaddrlistsnamepair(pairs)), fail2("nvpol_getAddrListAttrib", kFailed),
       "nvpol_getAddrListAttrib"},
      {DOING(hive_.importcsvfile("l", csv_)), bad_line(2)},
      {DOING(hive_.importcsvfile("l", "/x")), fail("nvpol_importAddress", "/x", kGone)},
      {DOING(hive_.addressfrominame("l", "a@x", false)), fail("nvpol_removeAddress", "a@x", kGone)},
      {DOING(hive_.getgroupsfromaddress("a@x", "exact", "", texts)), message("REG_NOEXIST", "a@x")},
      {DOING(hive_.deleteaddrlist("x")), fail("nvpol_deleteAddrList", "x", kGone)},
  };
  expect_failures(hive_, hive_failures);
  EXPECT_EQ(registry_.nvregdeletekey(OpenKey(registry_, "registry").get(), "test"), 0);
  EXPECT_EQ(hive_.getaddrlistsname(texts), -1);
  EXPECT_EQ(hive_.geterror(), fail2("nvpol_enumAddrList", kGone));
}

TEST_F(AddressLists, KeepWhatTheyAreGiven) {
  std::string const text(600, 'x'), longest(NVREG_MAX_NAME, 'n');
  set(kPolicy + "\\AddressList\\" + longest, "displayName", "long");
  EXPECT_EQ(hive_.createaddrlist("l", attributes(text, text)), 0);
  _NvPolAddrListAttr attr;
  for (uint32_t count = 1; count < 9; ++count) {
    EXPECT_EQ(hive_.setaddress("l", Texts{std::to_string(count % 5) + "@x"}), 0);
    EXPECT_EQ(hive_.getattr("l", attr), 0);
    EXPECT_EQ(attr.addressCount, count);
  }
  EXPECT_EQ(zeva::read_field(attr.displayName), text.substr(0, 256));
  EXPECT_EQ(zeva::read_field(attr.comment), text.substr(0, 512));
  EXPECT_EQ(hive_.addressfrominame("l", "1@x", false), 0);
  EXPECT_EQ(hive_.addressfrominame("l", text, true), 0);
  EXPECT_EQ(hive_.setattr("l", attributes("s", "")), 0);

  Texts addresses, holders;
  EXPECT_EQ(hive_.getaddress("l", addresses), 0);
  EXPECT_THAT(addresses, ElementsAre("2@x", "3@x", "4@x", "0@x", "1@x", "2@x", "3@x", text));
  EXPECT_EQ(hive_.getgroupsfromaddress("4@X", "exact", "any", holders), 0);
  EXPECT_THAT(holders, ElementsAre("l"));
  std::vector<Nvnamestringpair> pairs;
  EXPECT_EQ(hive_.getaddrlistsnamepair(pairs), 0) << "a long name hides no other list";
  ASSERT_EQ(pairs.size(), 2u);
  EXPECT_EQ(pairs[0].iname + pairs[0].displayname, longest + "long");
  EXPECT_EQ(pairs[1].iname + pairs[1].displayname, "ls");
  for (auto const& [iname, displayname] : pairs) EXPECT_EQ(hive_.deleteaddrlist(iname), 0);
}

TEST_F(AddressLists, ImportAWholeFileOrNothing) {
  struct {
    std::string content;
    int bad_line;  // 0 for none
    Texts addresses;
  } const files[] = {{"a@x\r\nb@x,\"c@x\" ; d@x\n\n,;", 0, {"a@x", "b@x", "c@x", "d@x"}},
                     {"", 0, {}},
                     {"j\xc3\xb6rg@x", 0, {"j\xc3\xb6rg@x"}},
                     {"\xef\xbb\xbf\"a@x\"", 0, {"a@x"}},
                     {"a@x\nAddress\n", 2, {}},
                     {"a@x\nb@" + std::string(NVREG_MAX_VALUE - 2, 'x'), 2, {}},
                     {"a@x\n@x\n", 2, {}},
                     {"a@x;b@x\r\n\r\nc@x, b@\n", 3, {}},
                     {"\"a@x\nb@x\"\n", 1, {}},
                     {"a@x>", 1, {}},
                     {"a b@x", 1, {}},
                     {"a\tb@x", 1, {}},
                     {"a@b@x", 1, {}}};
  for (auto const& [content, line, expected] : files) {
    std::ofstream(csv_, std::ios::binary) << content;
    EXPECT_EQ(hive_.createaddrlist("l", attributes("d", "")), 0);
    EXPECT_EQ(hive_.importcsvfile("l", csv_), line == 0 ? 0 : -1) << content;
    EXPECT_EQ(hive_.geterror(), line == 0 ? "" : bad_line(line)) << content;
    EXPECT_EQ(hive_.importcsvfile("l", home_.path()), -1) << "a folder";
    Texts addresses;
    EXPECT_EQ(hive_.getaddress("l", addresses), expected.empty() ? -1 : 0);
    EXPECT_EQ(addresses, expected) << content;
    EXPECT_EQ(hive_.deleteaddrlist("l"), 0);
    hive_.geterror();
  }
  EXPECT_EQ(hive_.createaddrlist("l", attributes("d", "")), 0);
  for (auto [size, line] : {std::pair{64 << 20, 1}, {(64 << 20) + 1, 0}}) {
    std::filesystem::resize_file(csv_, static_cast<uintmax_t>(size));
    EXPECT_EQ(hive_.importcsvfile("l", csv_), -1);
    EXPECT_EQ(hive_.geterror(), bad_line(line)) << "of a file that is too large, none is read";
  }
}

TEST(AddressComparison, FollowsMatchAndSensitivity) {
  struct Row {
    char const* first;
    char const* second;
    bool exact, prefix, exact_upper, prefix_upper;
  };
  Row const rows[] = {
      {"a@x", "a@x", true, true, true, true},  {"a@x", "A@X", false, false, true, true},
      {"a@", "a@x", false, true, false, true}, {"a@x", "a@", false, false, false, false},
      {"", "a@x", false, false, false, false}, {"\xc3\xa4", "\xc3\x84", false, false, false, false},
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

}  // namespace
