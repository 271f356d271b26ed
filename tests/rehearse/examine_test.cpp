#include "examine.h"

#include "work_folder.h"

#include <gmock/gmock.h>

namespace {

using Lines = std::vector<std::string>;

// The example, unpacked as a package would be.
class Package : public WorkFolder {
 public:
  Package() {
    sh("cp -r '" EXAMPLE_FOLDER "' export; cd export; md5sum $(find . -type f) > md5.sum");
  }

  void replace(std::string const& file, std::string const& from, std::string const& to) {
    std::string text = read("export/" + file);
    size_t const place = text.find(from);
    ASSERT_NE(place, std::string::npos) << from;
    write("export/" + file, text.replace(place, from.size(), to));
  }

  [[nodiscard]] Lines findings() const {
    Lines lines;
    for (auto const& finding : zeva::examine_package(*this / "export")) {
      lines.push_back(finding.kind + " " + finding.file + " " + place_of(finding) + ": " +
                      finding.text);
    }
    return lines;
  }
};

struct Edit {
  char const* file;
  std::string from, to;
  std::string finding, another = {};  // as they begin
};

std::string const kFive(5000, 'x');
std::string const kGroup = "a.finch@example.com;m.finch@example.com;s.okafor@example.com;";

Edit const kEdits[] = {
    {"globalPolicy.txt", "taskNum=1:5", "taskNum=1:4",
     "unread-section globalPolicy.txt task5:", "unread-file tasks/disclaimer.txt :"},
    {"md5.sum", "./misc.txt", "./Misc.txt", "unlisted-file misc.txt :"},
    {"excepton.txt", "ProcessErrorCls=2:", "ProcessErrorCls=2:" + kFive,
     "cut excepton.txt common.ProcessErrorCls: a text of 5009 bytes; the store keeps 2048 "},
    {"tasks/antispam.txt", "l_editWL_1=3:", "l_editWL_1=3:" + kFive + "\n#",
     "cut tasks/antispam.txt blackwhitelist.l_editWL_1: a list of 1 entry in 5000 bytes; the "
     "store keeps the first 0"},
    {"address.txt", "displayName=2:", "displayName=2:" + std::string(256, 'x'),
     "cut address.txt addressList1.displayName: a text of 265 bytes; the store keeps 256 "},
    {"scanlimit.txt", "MaxScanSize=1:67108864", "MaxScanSize=1:9999999950",
     "lost-value scanlimit.txt common.MaxScanSize: \"9999999950\" is no number of 32 bits; the "
     "store gets 1410065358"},
    {"policies/cardiff.txt", "order=1:", "order=",
     "lost-value policies/cardiff.txt common.order: \"2\" is not a number (1:)",
     "skipped policies/cardiff.txt : the policy and all below it: common.order cannot be "
     "read"},
    {"policies/payroll.txt", "policies/directors.txt", "policies/./finance.txt",
     "skipped policies/./finance.txt : the policy and all below it: the file is its own an"},
    {"tasks/size.txt", "filter=1:131076", "filter=1:131079",
     "skipped tasks/size.txt common.filter: the task: there is no filter of number 131079"},
    {"tasks/size.txt", "[size]", "[sise]", "partial tasks/size.txt size: is missing:"},
    {"globalPolicy.txt", "conditionNum=1:1", "conditionNum=1:2000000000",
     "missing globalPolicy.txt condition.condition2: is missing",
     "skipped globalPolicy.txt condition.condition2: this one and all after it, up to number "
     "2000000000:"},
    {"xfilter.txt", "filterNum=1:3\n\n[filter1]", "filterNum=1:2000000000\n\n[filter4]",
     "missing xfilter.txt common.filterNum: announces 2000000000, of which 1999999997 are missing",
     "missing xfilter.txt filter4.patternNum: announces 3, of which 3 are missing"},
    {"quarantine.txt", "FileNum=1:", "FileNum=1:200000000", "missing quarantine.txt area"},
    {"address.txt", "Num=1:3", "Num=1:300",
     "address-groups address.txt common.Num: 300 groups take at least as many seconds, and "
     "the ",
     "missing address.txt addressList4: is announced by a number, but missing or empty"},
    {"address.txt", "address=2:" + kGroup + "secretary@example.com", "address=2:;;",
     "address-groups address.txt addressList1.address: holds no address,"},
    {"excepton.txt", "[common]", "[common]\r", "carriage-returns excepton.txt : "},
    {"excepton.txt", "[common]", std::string("[other]\na\0b\n[common]", 20),
     "nul-byte excepton.txt : line "},
};

TEST(Examine, FindsWhatWouldBeLost) {
  EXPECT_EQ(Package().findings(), Lines());
  for (Edit const& edit : kEdits) {
    SCOPED_TRACE(std::string(edit.file) + ": " + edit.to.substr(0, 60));
    Package package;
    package.replace(edit.file, edit.from, edit.to);
    Lines const found = package.findings();
    EXPECT_THAT(found, testing::Contains(testing::StartsWith(edit.finding)));
    EXPECT_THAT(found, testing::Contains(testing::StartsWith(edit.another)));
    // Nothing else is found but what follows from a branch that is not looked at.
    for (std::string const& line : found) {
      bool const second = !edit.another.empty() && line.starts_with(edit.another);
      EXPECT_TRUE(line.starts_with(edit.finding) || second || line.starts_with("unread-")) << line;
    }
  }
}

// However often and by whatever name a file is called for, it is looked at once.
TEST(Examine, AByteOrderMarkHidesTheFirstLine) {
  Package package;
  package.write("export/tasks/size.txt", "\xEF\xBB\xBF" + package.read("export/tasks/size.txt"));
  package.replace("globalPolicy.txt", "tasks/disclaimer.txt", "tasks/./size.txt");
  package.replace("policies/payroll.txt", "policies/directors.txt", "tasks//size.txt");
  Lines const found = package.findings();
  EXPECT_EQ(std::ranges::count_if(
                found, [](auto const& line) { return line.starts_with("byte-order-mark tasks/"); }),
            1);
}

}  // namespace
