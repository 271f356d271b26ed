// The importers over two whole exports into a store that has been in use: examples/branch-office,
// and what becomes of it when its values are those that are easily spoilt on the way. after_example
// and after_second_export are the store's dump then, a key a line, in JSON: a line of theirs is
// changed only for a reason. The test leaves what it has found beside its program.
#include "command.h"
#include "importers.h"
#include "quiet_output.h"
#include "registry_client.h"
#include "run_log.h"
#include "runlog.h"
#include "scratch_home.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>

namespace fs = std::filesystem;

namespace {

using testing::ElementsAreArray;

fs::path const kExample = EXAMPLE_FOLDER;

// Payloads by their type, as an export's line carries them: 1 is a line break's first byte, 2 its
// second, 3 a "=".
std::vector<std::string> const kTexts = {"",
                                         "two\1\2lines\2",
                                         "a\3b\3c",
                                         ";;semi;colons;;",
                                         "%s%n%d 100%",
                                         "Grüße, 你好, Ω",
                                         "latin-1 \xe9\xff\x80",
                                         "  blanks, then a tab  \t",
                                         "[not a section] # not a comment",
                                         "2:not typed again",
                                         std::string(2047, 'm'),
                                         std::string(2048, 'n'),
                                         std::string(5000, 'o')};
std::vector<std::string> const kLists = {"",
                                         ";;a;;b\3c;",
                                         "\xe9;ü;%s",
                                         "just fits;" + std::string(2036, 'p'),
                                         "one too many;" + std::string(2034, 'q'),
                                         "short;" + std::string(5000, 'r') + ";never looked at"};
std::vector<std::string> const kNumbers = {"010",       "-1", "4294967295",          "4294967301",
                                           "12 months", "x",  "99999999999999999999"};
std::vector<std::string> const kIdentifiers = {"000102030405060708090a0b0c0d0e0f",
                                               "fffefdfcfbfaf9f8f7f6f5f4f3f2f1f0"};

// The second export has fewer of everything.
std::map<std::string, std::string> const kFewer = {
    {"actionFile.txt FileNum", "7"},
    {"quarantine.txt FileNum", "1"},
    {"globalPolicy.txt taskNum", "4"},
    {"policies/head-office.txt subPolicyNum", "1"},
    {"policies/cardiff.txt conditionNum", "1"},
    {"policies/cardiff.txt inactiveNum", "0"},
    {"tasks/antispam.txt BaselineDetectionRate", "-1"},
    {"tasks/antispam-cardiff.txt BaselineDetectionRate", "5"},
    {"xfilter.txt filterNum", "2"},
    {"address.txt Num", "1"},
    {"misc.txt SectionNum", "8"}};

// What the log says about the example, and all that it says.
std::vector<std::string> const kWarnings = {
    "Warning: change archive folder to /opt/norva/zeva/queue/archive\n"
    "\tfilter action: Archive the attachments\n"
    "\toriginal path: /opt/norva/zeva/queue/archive",
    "Warning: change quarantine area path to /opt/norva/zeva/queue/quarantine\n"
    "\tquarantine area: Swyddfa Caerdydd – cwarantîn\n"
    "\toriginal path: /opt/norva/zeva/queue/quarantine\n",
    "Warning [159]: Invalid BaselineDetectionRate (9), use default value.",
    "Warning [154]: BaselineDetectionRate changed to 4, original is 1"};

// Another payload for a key, or the same where the value holds the export together.
std::string changed(std::string const& file, std::string const& key, char type,
                    std::string const& payload, size_t turn) {
  static std::set<std::string> const kKept = {"filename", "hidden",     "KeyName",
                                              "filter",   "actionType", "BaselineDetectionRate"};
  static std::set<std::string> const kNames = {"name", "Name", "AreaName", "ValueName"};
  if (auto const fewer = kFewer.find(file + " " + key); fewer != kFewer.end()) return fewer->second;
  if (key.starts_with("size_")) return "0";
  if (kKept.contains(key) || key.ends_with("Num") || key.ends_with("num")) return payload;
  if (kNames.contains(key)) return payload == "Mail" ? payload : "50% größer\3" + payload;
  if (key == "address") return ";;no at sign;ü\3%s@x.example;;a@b@c;";
  std::vector<std::string> const& payloads = type == '1'   ? kNumbers
                                             : type == '2' ? kTexts
                                             : type == '3' ? kLists
                                                           : kIdentifiers;
  return payloads[turn % payloads.size()];
}

void write_second_export(fs::path const& folder) {
  size_t turn = 0;
  fs::recursive_directory_iterator const entries(kExample);
  for (fs::path const& path : std::set<fs::path>(begin(entries), end(entries))) {
    std::string const name = path.lexically_relative(kExample);
    if (fs::is_directory(path)) continue;
    fs::create_directories((folder / name).parent_path());
    std::ifstream in(path);
    std::ofstream out(folder / name);
    for (std::string line; std::getline(in, line);) {
      size_t const equals = line.find('=');
      if (equals != line.npos && line[0] != '#') {
        std::string const value = changed(name, line.substr(0, equals), line[equals + 1],
                                          line.substr(equals + 3), turn++);
        line.replace(equals + 3, line.npos, value);
      }
      out << line << '\n';
    }
  }
}

// What the store's files hold, with the runs that make a value long as "x{2048}".
std::string dump(ScratchHome const& home) {
  auto const result = zeva::run_command({{REGDUMP, "--home", home.path(), "--json"}, "", {}});
  EXPECT_TRUE(result.succeeded()) << result.explanation();
  std::string const& text = result.output;
  std::string shortened;
  for (size_t i = 0, length; i < text.size(); i += length) {
    length = std::min(text.find_first_not_of(text[i], i), text.size()) - i;
    shortened +=
        length < 100 ? text.substr(i, length) : text[i] + ("{" + std::to_string(length) + "}");
  }
  return shortened;
}

// Whether the store is as the file of that name says, line by line.
void expect_store(ScratchHome const& home, std::string const& name) {
  std::string const found = dump(home);
  std::ofstream(fs::path(FOUND_FOLDER) / name) << found;
  std::ifstream expected(fs::path(EXPECTED_FOLDER) / name);
  EXPECT_EQ(found, std::string(std::istreambuf_iterator<char>(expected), {})) << name;
}

void put(ScratchHome const& home, std::string const& path, std::string const& name) {
  RegistryClient client(home.address());
  EXPECT_EQ(client.create(path), NVREG_OK) << path;
  EXPECT_EQ(client.set(path, name, NVREG_BINARY, ""), NVREG_OK) << path;
}

void import(fs::path const& folder, ScratchHome const& home) {
  for (auto importer : {import_filter_action, import_config, import_policy, import_xfilter,
                        import_addr_list, import_misc})
    EXPECT_EQ(importer(folder.c_str(), home.address().c_str()), 0);
}

}  // namespace

// The pause after each address group.
extern "C" unsigned __wrap_sleep(unsigned) {
  return 0;
}

TEST(ExampleImport, ArrivesValueForValueAndTheNextExportReplacesIt) {
  QuietOutput quiet;
  ScratchHome home;
  home.start();
  std::string const log = home.path() + "/migration.log";
  SetDebugLogFileName(log.c_str());

  // A store that has been in use: what an export replaces, beside what none touches.
  for (std::string const path :
       {"Other\\Product", "WhiteBlackLists\\Global\\Old", "WhiteBlackLists\\Local", "XFilter",
        "XFilter\\Old", "registry\\config\\Classification\\0001\\0003\\QuarantineArea\\Old",
        "registry\\config\\Classification\\0001\\0003\\Other", "registry\\config\\Delivery",
        "registry\\policy\\AddressList\\Old",
        "registry\\policy\\Classification\\Old\\actions\\Old\\setting", "registry\\policy\\Other",
        "registry\\policy\\Rule\\Mail\\rules\\Old\\tasks\\Old", "registry\\policy\\Rule\\Web"})
    put(home, path, "old");
  put(home, "XFilter", "enable");
  put(home, "registry\\config\\Delivery", "RetryMinutes");

  import(kExample, home);
  expect_store(home, "after_example.json");
  EXPECT_THAT(logged_messages(log), ElementsAreArray(kWarnings));

  fs::path const second = home.path() + "/second";
  write_second_export(second);
  import(second, home);
  expect_store(home, "after_second_export.json");
}
