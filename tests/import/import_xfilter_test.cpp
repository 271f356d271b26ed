// Extra filters: the old ones go, the exported ones come, and one that is broken costs no other.
#include "import_fixture.h"
#include "importers.h"

namespace {

Export const kExport = {
    {"xfilter.txt",
     "[common]\nenable=1:1\nfilterNum=1:2\n"
     "[filter1]\nName=2:Words\nLocation=1:3\nCaseSensitive=1:0\npatternNum=1:0\n"
     "[filter2]\nName=2:Codes\nLocation=1:1\nCaseSensitive=1:1\npatternNum=1:2\n"
     "[filter2_pattern]\nPattern0=2:a\x03z\nPattern1=2:b\n"}};

Lines const kEnabled = {":enable=DW 1"};
Lines const kWords = {"\\Words:Location=DW 3", "\\Words:CaseSensitive=DW 0"};
Lines const kCodes = {"\\Codes:Location=DW 1", "\\Codes:CaseSensitive=DW 1"};
Lines const kPatterns = {"\\Codes:Pattern 0=SZ a=z", "\\Codes:Pattern 1=SZ b"};

class ImportXfilter : public ImportTest {};

TEST_F(ImportXfilter, ReplacesTheFiltersAndSkipsWhatIsBroken) {
  auto with = [](char const* from, char const* to) {
    return changed(kExport, "xfilter.txt", from, to);
  };
  auto no = [](char const* value) { return Lines{no_value(value, "xfilter.txt")}; };
  Lines const first = kEnabled + kWords, second = kCodes + kPatterns;
  Lines const old = {"\\Old 1:Location=DW 1", "\\Old 2:Location=DW 1"};
  check(import_xfilter, "XFilter",
        [this] {
          put("XFilter\\Old 1", "Location");
          put("XFilter\\Old 2", "Location");
        },
        {
            {kExport, "", {}, first + second},
            {{}, "", {}, {}},
            {{{"xfilter.txt/folder", ""}}, "", {"Error [434]: read xfilter.txt failed."}, {}},
            {with("filterNum=1:2", "filterNum=1:0"), "", {}, kEnabled},
            {with("filterNum=1:2", "filterNum=1:-1"), "", {}, kEnabled},
            {with("enable=1", "enable=2"), "", no("common.enable"), {}},
            {with("filterNum", "FilterNum"), "", no("common.filterNum"), kEnabled},
            {with("Name=2:Words", "name=2:Words"), "", no("filter1.Name"), kEnabled + second},
            {with("Location=1:3", "Location=1"), "", no("filter1.Location"), kEnabled + second},
            {with("CaseSensitive=1:0", ""), "", no("filter1.CaseSensitive"), kEnabled + second},
            {with("patternNum=1:2", ""), "", no("filter2.patternNum"), first + kCodes},
            {with("Pattern0", "Pattern2"), "", no("filter2_pattern.Pattern0"),
             first + kCodes + Lines{kPatterns[1]}},
            {kExport, "Words", {refused(337, "nvreg_createKey", "Words")}, kEnabled + second},
            {kExport,
             "Pattern 0",
             {refused(258, "nvreg_setValue", "Pattern 0")},
             first + kCodes + Lines{kPatterns[1]}},
            {kExport,
             "Old 1",
             {refused(425, "nvreg_deleteKey", "Old 1")},
             kEnabled + Lines{old[0]} + kWords + second},
            {kExport, "XFilter", {refused(410, "nvreg_createKey", "XFilter")}, old},
        });
  // That there was no filter to remove is not told, nor with a failure that follows.
  check(import_xfilter, "XFilter", [] {},
        {{kExport, "Words", {refused(337, "nvreg_createKey", "Words")}, kEnabled + second}});
}

}  // namespace
