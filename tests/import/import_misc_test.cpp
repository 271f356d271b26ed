// Miscellaneous values: every type into any key, up to the first section that fails.
#include "import_fixture.h"
#include "importers.h"

namespace {

std::string section(int number, std::string const& name, std::string const& value) {
  return "[Section" + std::to_string(number) + "]\nKeyName=2:misc\\sub\nValueName=2:" + name +
         "\nValue=" + value + "\n";
}

Export const kExport = {{"misc.txt", "[common]\nSectionNum=1:4\n" + section(1, "n", "1:-1") +
                                         section(2, "t", "2:a;b%s") + section(3, "l", "3:;a;;b;") +
                                         section(4, "i", "4:000102ff")}};

// The first values of the export as the store shows them.
Lines first(int count) {
  Lines const all = {":n=DW 4294967295", ":t=SZ a;b%s", ":l=MS a, b, ",
                     ":i=BI 00 01 02 ff 00 00 00 00 00 00 00 00 00 00 00 00 "};
  return {all.begin(), all.begin() + count};
}

class ImportMisc : public ImportTest {};

TEST_F(ImportMisc, WritesValuesUpToTheFirstFailure) {
  auto with = [](char const* from, char const* to) {
    return changed(kExport, "misc.txt", from, to);
  };
  auto no = [](char const* value) { return Lines{no_value(value, "misc.txt")}; };
  check(import_misc, "misc\\sub", [] {},
        {
            {kExport, "", {}, first(4)},
            {with("SectionNum=1:4", "SectionNum=1:0"), "", {}, {}},
            {{}, "", {"Error [23]: read misc.txt failed."}, {}, -15},
            {with("SectionNum=1", "SectionNum=2"), "", no("common.SectionNum"), {}, -15},
            {with("SectionNum=1:4", "SectionNum=1:5"), "", no("Section5.KeyName"), first(4), -15},
            {with("ValueName=2:t", ""), "", no("Section2.ValueName"), first(1), -15},
            {with("Value=3:", "Value=5:"),
             "",
             {"Error [130]: read value [Section3.Value] from misc.txt failed."},
             first(2),
             -15},
            {kExport, "misc\\sub", {refused(63, "nvreg_createKey", "misc\\sub")}, {}, -15},
            {kExport, "l", {refused(258, "nvreg_setValue", "l")}, first(2), -15},
            {kExport, "i", {"Error [246]: set value failed."}, first(3), -15},
        });
}

// Also an unnamed value; and the root must outlive each section that names it.
TEST_F(ImportMisc, TakesAnEmptyKeyNameForTheRoot) {
  Export const files = changed(changed(kExport, "misc.txt", "KeyName=2:misc\\sub", "KeyName=2:"),
                               "misc.txt", "ValueName=2:t", "ValueName=2:");
  EXPECT_EQ(run(import_misc, files), 0);
  EXPECT_EQ(logged(), Lines{});
  EXPECT_THAT(stored(""), testing::IsSupersetOf({":n=DW 4294967295", ":=SZ a;b%s"}));
}

}  // namespace
