// The importers over whole exports, against what the exports' text says should be in the store.
#include <gmock/gmock.h>

#include <map>
#include <set>
#include <sstream>

#include "command.h"
#include "expected_store.h"
#include "importers.h"
#include "registry_client.h"
#include "run_log.h"
#include "runlog.h"
#include "scratch_home.h"

namespace fs = std::filesystem;

namespace {

using testing::ElementsAreArray;

fs::path const kExample = EXAMPLE_FOLDER;

// Texts that an export can carry and that are easily spoilt on the way.
std::vector<std::string> const kTexts = {
    "",
    "two\r\nlines\n",
    "a=b=c",
    ";;semi;colons;;",
    "%s%n%d 100%",
    "Grüße, 你好, Ω",
    "latin-1 \xe9\xff\x80",
    "  blanks, then a tab  \t",
    "[not a section] # not a comment",
    "2:not typed again",
    std::string(2047, 'm'),
    std::string(2048, 'n'),
    std::string(5000, 'o'),
};
std::vector<std::string> const kLists = {
    "",
    ";;a;;b=c;",
    "\xe9;ü;%s",
    "just fits;" + std::string(2036, 'p'),
    "one too many;" + std::string(2034, 'q'),
    "short;" + std::string(5000, 'r') + ";never looked at",
};
std::vector<std::string> const kNumbers = {"0", "-1", "4294967295", "4294967301", "12 months", "x"};
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
    {"misc.txt SectionNum", "8"},
};

// What the log says about the example, and all that it says.
std::vector<std::string> const kWarnings = {
    "Warning: change archive folder to /opt/norva/zeva/queue/archive\n"
    "\tfilter action: Archive the attachments\n"
    "\toriginal path: /opt/norva/zeva/queue/archive",
    "Warning: change quarantine area path to /opt/norva/zeva/queue/quarantine\n"
    "\tquarantine area: Swyddfa Caerdydd – cwarantîn\n"
    "\toriginal path: /opt/norva/zeva/queue/quarantine\n",
    "Warning [159]: Invalid BaselineDetectionRate (9), use default value.",
    "Warning [154]: BaselineDetectionRate changed to 4, original is 1",
};

// Another value for a key, or the same where the value holds the export together.
TypedText changed(std::string const& file, std::string const& key, TypedText const& value,
                  size_t turn) {
  static std::set<std::string> const kKept = {"filename", "hidden",     "KeyName",
                                              "filter",   "actionType", "BaselineDetectionRate"};
  static std::set<std::string> const kNames = {"name", "Name", "AreaName", "ValueName"};
  if (auto const fewer = kFewer.find(file + " " + key); fewer != kFewer.end())
    return {1, fewer->second};
  if (key.starts_with("size_")) return {1, "0"};
  if (kKept.contains(key) || key.ends_with("Num") || key.ends_with("num")) return value;
  if (kNames.contains(key))
    return {2, value.payload == "Mail" ? "Mail" : "50% größer=" + value.payload};
  if (key == "address") return {2, ";;no at sign;ü=%s@x.example;;a@b@c;"};
  std::vector<std::string> const& values = value.type == 1   ? kNumbers
                                           : value.type == 2 ? kTexts
                                           : value.type == 3 ? kLists
                                                             : kIdentifiers;
  return {value.type, values[turn % values.size()]};
}

void write_second_export(fs::path const& folder) {
  size_t turn = 0;
  fs::recursive_directory_iterator const folder_entries(kExample);
  for (fs::path const& path : std::set<fs::path>(begin(folder_entries), end(folder_entries))) {
    if (!fs::is_regular_file(path)) continue;
    std::string const name = path.lexically_relative(kExample);
    ExportFile file = read_export(path);
    for (auto& [title, keys] : file) {
      for (auto& [key, value] : keys) value = changed(name, key, value, turn++);
    }
    write_export(folder / name, file);
  }
}

// What the store's files hold.
std::string dump(ScratchHome const& home) {
  auto const result = zeva::run_command({{REGDUMP, "--home", home.path(), "--json"}, "", {}});
  EXPECT_TRUE(result.succeeded()) << result.explanation();
  return result.output;
}

Store read_store(ScratchHome const& home) {
  Store store;
  std::istringstream lines(dump(home));
  for (std::string line; std::getline(lines, line);) store.push_back(zeva::Json::parse(line));
  return store;
}

std::string to_text(Store const& store) {
  std::string text;
  for (zeva::Json const& line : store) text += line.dump() + "\n";
  return text;
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
  ScratchHome home;
  home.start();
  std::string const log = home.path() + "/migration.log";
  SetDebugLogFileName(log.c_str());

  // A store that has been in use: what an export replaces, beside what none touches.
  for (std::string const path : {
           "Other\\Product",
           "WhiteBlackLists\\Global\\Old",
           "WhiteBlackLists\\Local",
           "XFilter",
           "XFilter\\Old",
           "registry\\config\\Classification\\0001\\0003\\QuarantineArea\\Old",
           "registry\\config\\Classification\\0001\\0003\\Other",
           "registry\\config\\Delivery",
           "registry\\policy\\AddressList\\Old",
           "registry\\policy\\Classification\\Old\\actions\\Old\\setting",
           "registry\\policy\\Other",
           "registry\\policy\\Rule\\Mail\\rules\\Old\\tasks\\Old",
           "registry\\policy\\Rule\\Web",
       })
    put(home, path, "old");
  put(home, "XFilter", "enable");
  put(home, "registry\\config\\Delivery", "RetryMinutes");

  Store expected = migrated(read_store(home), kExample);
  import(kExample, home);
  EXPECT_EQ(dump(home), to_text(expected));
  EXPECT_THAT(logged_messages(log), ElementsAreArray(kWarnings));

  fs::path const second = home.path() + "/second";
  write_second_export(second);
  expected = migrated(expected, second);
  import(second, home);
  EXPECT_EQ(dump(home), to_text(expected));
}
