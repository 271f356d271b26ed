// Exception handling, scan limits and quarantine areas: what arrives, and what a failure leaves.
#include "import_fixture.h"
#include "importers.h"

namespace {

std::string const kConfig = "registry\\config";
std::string const kLimits = kConfig + "\\FilterManager\\0001\\0001";
std::string const kFrontLimit = kConfig + "\\FilterManager\\0002";
std::string const kAreas = kConfig + "\\Classification\\0001\\0003\\QuarantineArea";
std::string const kFolder = "/opt/norva/zeva/queue/quarantine";

std::string const kExceptions = "ProcessErrorCls=2:Hold\nEncryptedMessageCls=2:Pass\n";
std::string const kScan =
    "MaxVirusCount=1:1\nMaxEntityCount=1:2\nMaxDecompressCount=1:3\nMaxDecompressDepth=1:4\n"
    "MaxDecompressSize=1:4294967295\nMaxScanSize=1:6\nMultipleCleanLayer=1:7\n";
std::string const kFrontScan = "uiMaxFrontScanSize=1:8\n";

std::string area(std::string const& name, std::string const& path = kFolder) {
  return "AreaName=2:" + name + "\nDisplayName=2:shown\nPath=2:" + path +
         "\nKeepDate=1:30\nKeepDateChecked=1:1\n";
}

Export const kExport = {{"excepton.txt", "[common]\n" + kExceptions},
                        {"scanlimit.txt", "[common]\n" + kScan + kFrontScan},
                        {"quarantine.txt", "[common]\nFileNum=1:2\n[area1]\n" + area("A") +
                                               "[area2]\n" + area("B", kFolder + "/")}};

// What the store holds after so many of the import's steps: exceptions, limits, the front limit,
// the old area's removal, one new area, the other.
Lines after(int steps) {
  auto at = [](std::string const& key, std::string const& text) {
    return shown(key.substr(kConfig.size()) + ":", text);
  };
  Lines lines;
  if (steps >= 1) lines = at(kConfig, kExceptions);
  if (steps < 4) lines = lines + at(kAreas + "\\Old", "KeepDate=1:1\n");
  if (steps >= 5) lines = lines + at(kAreas + "\\A", area("A"));
  if (steps >= 6) lines = lines + at(kAreas + "\\B", area("B"));
  if (steps >= 2) lines = lines + at(kLimits, kScan);
  if (steps >= 3) lines = lines + at(kFrontLimit, kFrontScan);
  return lines;
}

std::string const kMoved = "Warning: change quarantine area path to " + kFolder +
                           "\n\tquarantine area: shown\n\toriginal path: " + kFolder + "\n";

class ImportConfig : public ImportTest {};

TEST_F(ImportConfig, WritesEachGroupUpToTheFirstFailure) {
  auto with = [](char const* file, char const* from, char const* to) {
    return changed(kExport, file, from, to);
  };
  auto no = [](char const* value, char const* file) { return Lines{no_value(value, file)}; };
  auto unreadable = [](int code, std::string const& file) {
    return Lines{"Error [" + std::to_string(code) + "]: read " + file + " failed."};
  };
  auto open = [](int code, std::string const& key) {
    return refused(code, "nvreg_createKey", key);
  };
  auto set = [](char const* name) { return Lines{refused(258, "nvreg_setValue", name)}; };
  check(
      import_config, kConfig, [this] { put(kAreas + "\\Old", "KeepDate"); },
      {
          {kExport, "", {kMoved}, after(6)},
          {with("quarantine.txt", "FileNum=1:2", "FileNum=1:0"), "", {}, after(4)},
          {without(kExport, "excepton.txt"), "", unreadable(122, "excepton.txt"), after(0), -13},
          {with("excepton.txt", "Encr", "encr"), "",
           no("common.EncryptedMessageCls", "excepton.txt"), after(0), -13},
          {kExport, kConfig, {open(137, kConfig)}, after(0), -13},
          {kExport, "ProcessErrorCls", set("ProcessErrorCls"), after(0), -13},
          {without(kExport, "scanlimit.txt"), "", unreadable(162, "scanlimit.txt"), after(1), -14},
          {with("scanlimit.txt", "MultipleCleanLayer=1", "MultipleCleanLayer=2"), "",
           no("common.MultipleCleanLayer", "scanlimit.txt"), after(1), -14},
          {kExport, kLimits, {open(182, kLimits)}, after(1), -14},
          {kExport, "MaxVirusCount", set("MaxVirusCount"), after(1), -14},
          {with("scanlimit.txt", "uiMax", "Max"), "",
           no("common.uiMaxFrontScanSize", "scanlimit.txt"), after(2), -14},
          {kExport, kFrontLimit, {open(204, kFrontLimit)}, after(2), -14},
          {kExport, kAreas, {open(26, kAreas), open(35, kAreas)}, after(3), -12},
          {kExport, "Old", {refused(44, "nvreg_deleteKey", "Old")}, after(3), -12},
          {without(kExport, "quarantine.txt"), "", unreadable(55, "quarantine.txt"), after(4), -12},
          {with("quarantine.txt", "FileNum=1", "FileNum=2"), "",
           no("common.FileNum", "quarantine.txt"), after(4), -12},
          {with("quarantine.txt", "[area2]", "[area3]"), "", no("area2.AreaName", "quarantine.txt"),
           after(5), -12},
          {kExport, kAreas + "\\B", {open(78, kAreas + "\\B")}, after(5), -12},
          {kExport, "AreaName", set("AreaName"), after(4), -12},
      });
}

TEST_F(ImportConfig, AcceptsAStoreWithoutQuarantineAreas) {
  Export const none = changed(kExport, "quarantine.txt", "FileNum=1:2", "FileNum=1:0");
  check(import_config, kConfig, [] {},
        {{none, "", {"Error [26]: " + reason("REG_EMPTY", "The task name")}, after(4)}});
}

}  // namespace
