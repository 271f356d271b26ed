#include "examine.h"

#include "encoding.h"
#include "work_folder.h"

#include <gmock/gmock.h>

namespace {

using Lines = std::vector<std::string>;

// The example, unpacked as a package would be.
class Package : public WorkFolder {
 public:
  Package() { sh("cp -r '" EXAMPLE_FOLDER "' export"), list(); }

  void list() const { sh("cd export; md5sum $(find . -type f ! -name md5.sum) > md5.sum"); }

  void replace(std::string const& file, std::string const& from, std::string const& to) {
    std::string text = read("export/" + file);
    size_t const place = text.find(from);
    ASSERT_NE(place, std::string::npos) << from;
    write("export/" + file, text.replace(place, from.size(), to));
    if (file != "md5.sum") list();
  }

  // Without what is found in the example as it is.
  [[nodiscard]] Lines findings(zeva::ExamineOptions const& options = {}) const {
    Lines lines;
    for (auto const& finding : zeva::examine_package(*this / "export", options)) {
      lines.push_back(name_of(finding.severity) + " " + finding.kind + " " + finding.file + " " +
                      place_of(finding) + ": " + finding.text);
      if (finding.kind == "no-utf-8") lines.back() += "; " + finding.advice;
      if (std::ranges::count(kAtFirst, lines.back()) > 0) lines.pop_back();
    }
    return lines;
  }

  static inline Lines const kAtFirst = {
      "note moved-path action8.txt action2.ArchiveFolder: \"/srv/archive/attachments\" becomes "
      "\"/opt/norva/zeva/queue/archive\"",
      "note moved-path quarantine.txt area3.Path: \"/srv/cardiff/quarantine\" becomes "
      "\"/opt/norva/zeva/queue/quarantine\""};
};

struct Edit {
  char const* file;
  std::string from, to;
  std::string finding = {}, another = {};  // as they begin
};

std::string const kFive(5000, 'x');
std::string const kLongest(1024, 'x');
std::string const kLongestRecord(127, 'x');
std::string const kGroup = "a.finch@example.com;m.finch@example.com;s.okafor@example.com;";

Edit const kEdits[] = {
    {"globalPolicy.txt", "taskNum=1:5", "taskNum=1:4",
     "loss unread-section globalPolicy.txt task5:", "loss unread-file tasks/disclaimer.txt :"},
    {"md5.sum", "./misc.txt", "./Misc.txt", "note unlisted-file misc.txt :",
     "error checksum Misc.txt : is listed in md5.sum, but cannot be read: No such file"},
    {"globalPolicy.txt", "comment=2:", "comment=2:" + kFive.substr(0, 2048 - 31),
     "loss cut globalPolicy.txt common.comment: a text of 2048 bytes; the store keeps 2048 "},
    {"tasks/antispam.txt", "l_editWL_1=3:", "l_editWL_1=3:" + kFive.substr(0, 2047) + "\n#",
     "loss cut tasks/antispam.txt blackwhitelist.l_editWL_1: a list of 1 entry in 2047 bytes; the "
     "store keeps the first 0"},
    {"address.txt", "displayName=2:", "displayName=2:" + std::string(247, 'x'),
     "loss cut address.txt addressList1.displayName: a text of 256 bytes; the store keeps 256 "},
    {"scanlimit.txt", "MaxScanSize=1:67108864", "MaxScanSize=1:9999999950",
     "loss wrapped-number scanlimit.txt common.MaxScanSize: 9999999950 is too large for 32 bits; "
     "the store gets 1410065358"},
    {"policies/cardiff.txt", "order=1:", "order=",
     "loss lost-value policies/cardiff.txt common.order: \"2\" is not a number (1:)",
     "loss skipped policies/cardiff.txt : the policy and all below it: common.order cannot be "
     "read"},
    {"policies/payroll.txt", "policies/directors.txt", "policies/./finance.txt",
     "loss skipped policies/./finance.txt : the policy and all below it: the file is its own an"},
    {"tasks/size.txt", "filter=1:131076", "filter=1:131079",
     "loss skipped tasks/size.txt common.filter: the task: there is no filter of number 131079"},
    {"tasks/virus.txt", "Uncertain=2:", "Uncertain=1:",
     "loss partial tasks/virus.txt setting: is not imported, because classification is not",
     "loss "},
    {"action9.txt", "order=1:", "order=2:", "loss lost-value action9.txt action1.order: "},
    {"tasks/size.txt", "[size]", "[\\]\na=2:b\n[size]",
     "loss bad-name tasks/size.txt [\\]: the section has no name: it is left out, with what "},
    {"tasks/size.txt", "[size]", "[sise]", "loss partial tasks/size.txt size: is missing:"},
    {"globalPolicy.txt", "conditionNum=1:1", "conditionNum=1:2000000000",
     "loss missing globalPolicy.txt condition.condition2: is missing",
     "loss skipped globalPolicy.txt condition.condition2: this one and all after it, up to number "
     "2000000000:"},
    {"xfilter.txt", "filterNum=1:3\n\n[filter1]", "filterNum=1:2000000000\n\n[filter4]",
     "loss missing xfilter.txt common.filterNum: announces 2000000000, of which 1999999997 are "
     "missing",
     "loss missing xfilter.txt filter4.patternNum: announces 3, of which 3 are missing"},
    {"address.txt", "Num=1:3", "Num=1:300",
     "error address-groups address.txt common.Num: 300 groups take at least as many seconds, and "
     "the ",
     "error missing address.txt addressList4: is announced by a number, but missing or empty"},
    {"address.txt", "address=2:" + kGroup + "secretary@example.com", "address=2:;;",
     "error address-groups address.txt addressList1.address: holds no address,"},
    {"excepton.txt", "[common]", "[common]\r", "loss carriage-returns excepton.txt : "},
    {"excepton.txt", "[common]", std::string("[other]\na\0b\n[common]", 20),
     "loss nul-byte excepton.txt : line "},

    // What is called for by a name.
    {"excepton.txt", "=2:ScanError", "=2:Scanerror",
     "loss dangling-reference excepton.txt common.ProcessErrorCls: there will be no "
     "classification \"Scanerror\""},
    {"excepton.txt", "=2:ScanError", "=2:"},
    {"excepton.txt", "[common]", "[common]\nOther=2:None", "loss unread-key excepton.txt common.O"},
    {"tasks/antispam.txt", "[Classification_UI]", "[Classification_UI]\nOther=2:None",
     "loss unread-key tasks/antispam.txt Classification_UI.Other: "},
    {"tasks/size.txt", "NotMatched=2:Deliver", "NotMatched=2:Delivery",
     "loss dangling-reference tasks/size.txt classification.NotMatched: "},
    {"tasks/antispam.txt", "Bulk_Default=2:", "Bulk_Default=2:x",
     "loss dangling-reference tasks/antispam.txt Classification_UI.Bulk_Default: "},
    {"action9.txt", "=2:General", "=2:Genral",
     "loss dangling-reference action9.txt action2.QuarantineArea: there will be no quarantine "
     "area"},
    {"policies/cardiff.txt", "=2:AntiSpam", "=2:DangerousAttachments",
     "loss dangling-reference policies/cardiff.txt inactive.inactive1: neither this policy nor"},
    {"policies/cardiff.txt", "=2:AntiSpam", "=2:VirusScanCardiff"},
    {"policies/cardiff.txt", "2:CardiffStaff;*", "2:Cardiffstaff;*",
     "loss dangling-reference policies/cardiff.txt condition.condition2: there will be no address"},
    {"policies/cardiff.txt", "2:CardiffStaff;*", "2:cardiff.example;*"},
    {"policies/cardiff.txt", "2:CardiffStaff;*", "2:<>;*"},
    {"tasks/antispam-cardiff.txt", "=2:\\Cardiff", "=2:\\Cardiff\\Ware",
     "loss dangling-reference tasks/antispam-cardiff.txt setting.ControllingPolicyPath: "},
    {"tasks/antispam-cardiff.txt", "=2:\\Cardiff", "=2:Cardiff\\Warehouse"},
    {"tasks/antispam-cardiff.txt", "=2:\\Cardiff", "=2:/Cardiff",
     "loss slash-path tasks/antispam-cardiff.txt setting.ControllingPolicyPath: \"/Cardiff\" is",
     "loss dangling-reference tasks/antispam-cardiff.txt setting.Con"},
    {"misc.txt", "registry\\config\\Delivery", "registry/config/Delivery",
     "loss slash-path misc.txt Section1.KeyName: "},
    {"misc.txt", "registry\\config\\Delivery", "registry\\config/Delivery"},
    {"globalPolicy.txt", "=2:HeadOffice", "=2:Headoffice",
     "loss dangling-reference globalPolicy.txt policy1.name: the policy of "
     "policies/head-office.txt is not called \"Headoffice\", but \"HeadOffice\""},

    // Two of one name.
    {"action8.txt", "=2:Archive\n", "=2:Review\n",
     "error same-name action8.txt common.name: another classification of action7.txt is called "
     "\"Review\", too: the import ends here"},
    {"action8.txt", "=2:ArchiveWhole", "=2:ArchiveAttachments",
     "loss same-name action8.txt action2.name: another action is called"},
    {"action8.txt", "=2:ArchiveWhole", "=2:DeliverMessage"},
    {"quarantine.txt", "AreaName=2:Spam", "AreaName=2:General",
     "loss same-name quarantine.txt area2.AreaName: "},
    {"quarantine.txt", "AreaName=2:Spam", "AreaName=2:general"},
    {"quarantine.txt", "[area2]", "[area2]\nPath=2:a\nPath=2:b\n[area2]",
     "loss same-name quarantine.txt area2: stands in the file more than once: only the last one "},
    {"quarantine.txt", "AreaName=2:Spam", "AreaName=2:Spam\nAreaName=2:Junk",
     "loss same-name quarantine.txt area2.AreaName: stands here more than once, "},
    {"quarantine.txt", "AreaName=2:Spam", "AreaName=2:Spam\nAreaName=2:Spam"},
    {"xfilter.txt", "[filter3]\n", "[filter3]\nName=2:Siopa\n[filter3]\n"},
    {"address.txt", "Name=2:Partners", "Name=2:Directors",
     "error same-name address.txt addressList3.Name: "},
    {"address.txt", "Name=2:Partners", "Name=2:directors", "loss dangling-reference "},
    {"xfilter.txt", "Name=2:Siopa", "Name=2:Scanner test",
     "loss same-name xfilter.txt filter3.Name: another extra filter is called "},
    {"xfilter.txt", "Name=2:Siopa", "Name=2:scanner test"},
    {"policies/design.txt", "name=2:Design", "name=2:Finance",
     "loss same-name policies/design.txt common.name: another policy of policies/finance.txt",
     "loss dangling-reference policies/head-office.txt policy3.name: "},
    {"tasks/disclaimer.txt", "=2:OutgoingDisclaimer", "=2:AntiSpam",
     "loss same-name tasks/disclaimer.txt common.name: another task of tasks/antispam.txt is"},
    {"tasks/attachments.txt", "=2:DangerousAttachments", "=2:AntiSpam"},
    {"globalPolicy.txt", "tasks/disclaimer.txt", "tasks/./size.txt",
     "note named-twice globalPolicy.txt task5.filename: \"tasks/./size.txt\" is named here and in "
     "globalPolicy.txt, task4: this policy gets it once"},
    {"policies/design.txt", "tasks/project-names.txt", "tasks/attachments.txt",
     "note named-twice policies/design.txt task1.filename: \"tasks/attachments.txt\" is named here "
     "and in policies/head-office.txt, task1: each of the two policies gets it",
     "loss unread-file tasks/project-names.txt "},
    {"policies/cardiff.txt", "policies/warehouse.txt", "policies/design.txt",
     "note named-twice policies/cardiff.txt policy1.filename: ", ""},
    {"globalPolicy.txt", "name=2:Mail", "name=2:mail",
     "loss top-policy globalPolicy.txt common.name: "},
    {"globalPolicy.txt", "name=2:Mail", "name=2:\\Mail"},
    {"globalPolicy.txt", "tasks/size.txt", "/tasks/size.txt"},

    // Names that the store does not take.
    {"action7.txt", "name=2:Review", "name=2:",
     "error bad-name action7.txt common.name: \"\" is no name that the store takes (1 to 127 "
     "bytes"},
    {"address.txt", "Name=2:Partners", "Name=2:" + kLongestRecord + "x",
     "error bad-name address.txt addressList3.Name: 128 bytes is no name"},
    {"address.txt", "Name=2:Partners", "Name=2:" + kLongestRecord, "loss dangling-reference "},
    {"action8.txt", "=2:ArchiveWhole", "=2:" + kLongest + "x",
     "error bad-name action8.txt action1.name: "},
    {"action8.txt", "=2:ArchiveWhole", "=2:\\" + kLongest},
    {"quarantine.txt", "AreaName=2:Spam", "AreaName=2:" + kLongest + "x",
     "error bad-name quarantine.txt area2.AreaName: "},
    {"quarantine.txt", "AreaName=2:Spam", "AreaName=2:A\\B",
     "loss bad-name quarantine.txt area2.AreaName: \"A\\B\" is a path: the quarantine area is "},
    {"misc.txt", "KeyName=2:registry\\config\\Console", "KeyName=2:a\\" + kLongest + "x",
     "error bad-name misc.txt Section9.KeyName: "},
    {"misc.txt", "=2:LoginNotice", "=2:Login\\Notice",
     "error bad-name misc.txt Section9.ValueName: "},
    {"policies/cardiff.txt", "\nname=2:Cardiff", "\nname=2:",
     "loss bad-name policies/cardiff.txt common.name: is empty: the policy is stored in the key "},
    {"tasks/size.txt", "name=2:LargeMessages", "name=2:" + kLongest + "x",
     "loss bad-name tasks/size.txt common.name: 1025 bytes is no name that the store takes (parts "
     "of at most 1024 bytes): the task is left out"},
    {"tasks/size.txt", "[size]", "[size]\na\\b=2:", "loss bad-name tasks/size.txt size.a\\b: "},

    // Texts and numbers that are not what they were.
    {"globalPolicy.txt", "comment=2:", "comment=2:Gesch\344ftsf\374hrung und B\374ro ",
     "loss no-utf-8 globalPolicy.txt common.comment: is no UTF-8, as which the console will show "
     "it; by its bytes it is ISO-8859-1; convert the file with iconv -f ISO-8859-1 -t UTF-8"},
    {"globalPolicy.txt", "comment=2:", "comment=2:Gr\374\337e\n#",
     "loss no-utf-8 globalPolicy.txt common.comment: is no UTF-8, as which the console will show "
     "it; convert the file with iconv -f ITS-ENCODING -t UTF-8"},
    {"quarantine.txt", "DisplayName=2:Gen", "DisplayName=2:G\351n",
     "loss no-utf-8 quarantine.txt area1.DisplayName: is no UTF-8, as which the console will show "
     "it; by its bytes it is ISO-8859-1; write it in UTF-8, as others of the file are: iconv "},
    {"globalPolicy.txt",
     "comment=2:", "comment=2:\355\240\275\355\270\200\355\240\275\355\270\200\n#",
     "loss no-utf-8 globalPolicy.txt common.comment: is no UTF-8, as which the console will show "
     "it; convert the file with iconv -f ITS-ENCODING -t UTF-8"},
    {"globalPolicy.txt", "# The policy", "# Gesch\344ftsf\374hrung"},
    {"scanlimit.txt", "Count=1:", "Count=1:-", "note wrapped-number scanlimit.txt common.MaxVirus"},
    {"scanlimit.txt", "MaxScanSize=1:67108864", "MaxScanSize=1:67108864\r",
     "loss carriage-returns "},
    {"quarantine.txt", "FileNum=1:3", "FileNum=1:-3",
     "loss wrapped-number quarantine.txt common.FileNum: -3 is negative; nothing that it counts "},
    {"quarantine.txt", "FileNum=1:3", "FileNum=1:4294967299",
     "loss wrapped-number quarantine.txt common.FileNum: 4294967299 is too large for a signed "
     "number of 32 bits; it counts as 3"},
    {"md5.sum", " ./misc.txt", " -",
     "error checksum md5.sum : leads the run to files that it does"},
    {"md5.sum", "./misc.txt", "./address.txt", "error checksum address.txt : its checksum ",
     "note unlisted-file misc.txt "},
};

TEST(Examine, FindsWhatWouldBeLost) {
  EXPECT_EQ(Package().findings(), Lines());
  for (Edit const& edit : kEdits) {
    SCOPED_TRACE(std::string(edit.file) + ": " + edit.to.substr(0, 60));
    Package package;
    package.replace(edit.file, edit.from, edit.to);
    Lines const found = package.findings();
    if (edit.finding.empty()) {
      EXPECT_EQ(found, Lines());
      continue;
    }
    EXPECT_THAT(found, testing::Contains(testing::StartsWith(edit.finding)));
    EXPECT_THAT(found, testing::Contains(testing::StartsWith(edit.another)));
    // Nothing else is found but what follows from it.
    for (std::string const& line : found) {
      bool const second = !edit.another.empty() && line.starts_with(edit.another);
      bool const follows =
          line.starts_with("loss unread-") ||
          (line.starts_with("loss dangling-") && !edit.finding.starts_with("loss unread-key "));
      EXPECT_TRUE(line.starts_with(edit.finding) || second || follows) << line;
    }
  }
}

// Once for the file, however much of it is lost or is not.
TEST(Examine, FindsWhatIsTrueOfAWholeFile) {
  Package package;
  package.sh(
      "cd export; rm md5.sum scanlimit.txt; for i in 16.excepton 16BE.globalPolicy; do "
      "iconv -t UTF-${i%.*} ${i#*.}.txt >x; mv x ${i#*.}.txt; done");
  std::string const text = " : is UTF-16, of which nothing can be read";
  Lines wanted{"error utf-16 excepton.txt" + text,
               "error missing scanlimit.txt : cannot be read as a file of the package",
               "loss utf-16 globalPolicy.txt" + text};
  EXPECT_EQ(package.findings({.is_packed = false}), wanted);
  wanted.push_back("error checksum md5.sum : is missing");
  EXPECT_EQ(package.findings(), wanted);
}

// What the importers remove is no more there to be called for.
TEST(Examine, LooksIntoTheStoreForWhatStays) {
  zeva::Key store;
  for (std::string const top : {"Mail", "mail"}) {
    zeva::Key& policy = store.subkeys.at("registry").subkeys.at("policy");
    policy.subkeys.at("Rule").subkeys.at(top).subkeys.at("rules").subkeys.at("Old");
    policy.subkeys.at("Classification").subkeys.at("Old");
    Package package;
    package.replace("globalPolicy.txt", "name=2:Mail", "name=2:" + top);
    package.replace("tasks/antispam-cardiff.txt", "=2:\\Cardiff", "=2:\\Old");
    package.replace("excepton.txt", "=2:ScanError", "=2:Old");
    char const* const other =
        top == "mail" ? "loss top-policy" : "loss dangling-reference tasks/an";
    EXPECT_THAT(
        package.findings({.store = &store}),
        testing::UnorderedElementsAre(testing::StartsWith("loss dangling-reference excepton.txt"),
                                      testing::StartsWith(other)));
  }
}

TEST(Examine, NamesNoEncodingThatItOnlyGuesses) {
  EXPECT_EQ(zeva::likely_encoding("M\374nchen"), "ISO-8859-1");
  EXPECT_EQ(zeva::likely_encoding("Gr\374\337e"), "");  // any of ten could be it
}

// However often and by whatever name a file is called for, it is looked at once.
TEST(Examine, AByteOrderMarkHidesTheFirstLine) {
  Package package;
  package.write("export/tasks/size.txt", "\xEF\xBB\xBF" + package.read("export/tasks/size.txt"));
  package.replace("globalPolicy.txt", "tasks/disclaimer.txt", "tasks/./size.txt");
  package.replace("policies/payroll.txt", "policies/directors.txt", "tasks//size.txt");
  Lines const found = package.findings();
  EXPECT_EQ(
      std::ranges::count_if(
          found, [](auto const& line) { return line.starts_with("loss byte-order-mark tasks/"); }),
      1);
}

}  // namespace
