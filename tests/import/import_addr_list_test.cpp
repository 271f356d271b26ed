// Address lists: all old ones go, the exported ones come one by one.
#include "import_fixture.h"
#include "importers.h"

namespace {
int pauses;
}

// The pause after each list is counted, not waited for.
extern "C" unsigned __wrap_sleep(unsigned seconds) {
  pauses += static_cast<int>(seconds);
  return 0;
}

namespace {

std::string const kLists = "registry\\policy\\AddressList";
std::string list(int number, std::string const& name, std::string const& addresses) {
  return "[addressList" + std::to_string(number) + "]\nName=2:" + name + "\ndisplayName=2:" + name +
         " shown\ncomment=2:about " + name + "\naddress=2:" + addresses + "\n";
}

Export const kExport = {{"address.txt", "[common]\nNum=1:2\n" + list(1, "Staff", ";a@x;;b@y@z;") +
                                            list(2, "Root", "postmaster")}};

Export const kOld = {{"address.txt", "[common]\nNum=1:1\n" + list(1, "Old", "o@x")}};

Lines values_of(std::string const& name, Lines const& addresses) {
  Lines lines = {"displayName=SZ " + name + " shown", "comment=SZ about " + name, "order=DW 0"};
  for (size_t i = 0; i < addresses.size(); ++i) {
    lines.push_back("address" + std::to_string(i + 1) + "=SZ " + addresses[i]);
  }
  for (std::string& line : lines) line.insert(0, "\\" + name + ":");
  return lines;
}

class ImportAddrList : public ImportTest {};

TEST_F(ImportAddrList, ReplacesTheListsUpToTheFirstFailure) {
  auto with = [](char const* from, char const* to) {
    return changed(kExport, "address.txt", from, to);
  };
  auto no = [](char const* value) { return Lines{no_value(value, "address.txt")}; };
  std::string const path = "registry\\policy\\\\AddressList";
  std::string const long_name(256, 'd'), long_comment(512, 'c');
  Lines const old = values_of("Old", {"o@x"}), staff = values_of("Staff", {"a@x", "b@y@z"});
  Lines const root = values_of("Root", {"postmaster"});
  check(import_addr_list, kLists, [this] { EXPECT_EQ(run(import_addr_list, kOld), 0); },
        {
            {kExport, "", {}, staff + root},
            {with("Num=1:2", "Num=1:0"), "", {}, {}},
            {kExport, path, {refused(55, "nvreg_createKey", path)}, old, -8},
            {kExport,
             "Old",
             {refused(64, "nvreg_deleteKey", "Old", "Remove address error")},
             old,
             -11},
            {{}, "", {"Error [81]: read address.txt failed."}, {}, -8},
            {with("Num", "num"), "", no("common.Num"), {}, -8},
            {with("Num=1:2", "Num=1:3"), "", no("addressList3.Name"), staff + root, -8},
            {with("comment=2:about Root", ""), "", no("addressList2.comment"), staff, -8},
            {with("Name=2:Root", "Name=2:Staff"),
             "",
             {"Address list error: [0]: " +
              reason("REG_FAIL", "nvpol_createAddrList", "Staff", NVREG_EXISTS)},
             staff,
             -8},
            {with("postmaster", ";"),
             "",
             {"Address list error [0]: " + reason("REG_EMPTY", "setaddress: address")},
             staff + values_of("Root", {}),
             -8},
        });
  pauses = 0;
  EXPECT_EQ(run(import_addr_list, changed(with("Root shown", (long_name + "x").c_str()),
                                          "address.txt", "about Root", long_comment + "x")),
            0);
  EXPECT_EQ(pauses, 2);
  EXPECT_THAT(stored(kLists), testing::IsSupersetOf({"\\Root:displayName=SZ " + long_name,
                                                     "\\Root:comment=SZ " + long_comment}));
}

}  // namespace
