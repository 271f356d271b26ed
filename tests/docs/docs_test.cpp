// The pages on log codes and on export files against the code that they describe: what stands on
// one side only is a failure. Which keys the importers ask for comes from the examination of the
// example, which importer_reads_test.cpp holds against the importers.

#include "examine.h"
#include "nvconfigfile.h"
#include "project_text.h"

#include <ctype.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace {

// The sources of a folder, by their paths in the project.
std::map<std::string, std::string> sources(std::string const& folder) {
  std::map<std::string, std::string> texts;
  for (auto const& entry : fs::recursive_directory_iterator(SOURCE_FOLDER "/" + folder)) {
    std::string const path = entry.path().lexically_relative(SOURCE_FOLDER);
    if (path.ends_with(".cpp") || path.ends_with(".h")) texts[path] = read(path);
  }
  return texts;
}

// Every number that a source gives to something that logs under a code: the log itself and whatever
// has a parameter `code`, by way of a constant or a table as well.
Names logged_codes() {
  std::map<std::string, std::string> code;
  for (std::string const folder : {"driver", "package", "import", "convert"})
    code.merge(sources(folder));
  std::string loggers = "LogDebugMessage";
  for (auto const& [path, text] : code) {
    for (auto const& name : all(text, R"((\w+)\((?:[^()]|\([^()]*\))*\bint code\b)"))
      loggers += "|" + name;
  }
  Names codes;
  for (auto const& [path, text] : code) {
    if (!path.ends_with(".cpp")) continue;
    Names numbers = all(text, R"((?:k\w*Code = |\{"\w+", )(\d+)[;}])");
    for (std::string const& call : all(text, R"(\b((?:)" + loggers + R"()\b[^;]*;))"))
      numbers.merge(all(call, R"([(,]\s*(\d+)(?=\s*[,)]))"));
    for (std::string const& number : numbers) codes.insert(number + " " + path);
  }
  return codes;
}

// What the page calls a file that holds the key of this section.
std::string kind_of(std::string const& file, NvConfigFile const& config,
                    std::string const& section) {
  if (file.starts_with("policies/") || file == "globalPolicy.txt") return "Policy files";
  if (!file.starts_with("tasks/")) return std::regex_replace(file, std::regex("[0-9]+"), "N");
  if (section == "common") return "Task files";
  std::string filter;
  config.getattribute("common", "filter", filter);
  return "Task files with filter " + filter.substr(2);
}

// "KIND SECTION.KEY TYPE" for all that the importers ask for, with N for the numbers in names. What
// a content-filter task holds beside `common` has no fixed keys.
Names asked_for() {
  std::string const folder = SOURCE_FOLDER "/examples/branch-office/";
  Names names;
  for (auto const& [file, keys] : zeva::examine_package(folder).asked) {
    NvConfigFile config(folder + file);
    EXPECT_EQ(config.readfile(), 0) << file;
    for (auto const& [section, key] : keys) {
      std::string value, kind = kind_of(file, config, section);
      if (kind.starts_with("Task files with filter 131")) continue;
      config.getattribute(section, key, value);
      std::regex const number(R"([0-9]+(?=_|\.|$))");
      names.insert(kind + " " + std::regex_replace(section + "." + key, number, "N") + " " +
                   value[0]);
    }
  }
  return names;
}

Names described(std::string const& page) {
  Names names;
  std::istringstream lines(page);
  std::string kind;
  for (std::string line; std::getline(lines, line);) {
    std::smatch row;
    if (std::regex_match(line, row, std::regex(R"(### `?([^:`]*).*)"))) kind = row[1];
    if (!std::regex_match(line, row, std::regex(R"(\| `(\w+)` \| (.*) \| ([1-4, ]+) \|.*)")))
      continue;
    for (std::string const& key : all(row[2], R"(`(\w+)`)"))
      for (std::string const& type : all(row[3], "([1-4])"))
        names.insert(kind + " " + row[1].str() + "." + key + " " + type);
  }
  return names;
}

}  // namespace

TEST(LogCodes, AreThoseOfTheCode) {
  std::string const page = read("docs/log-codes.md");
  // The code stands in the line as it is logged, too.
  EXPECT_EQ(all(page, R"(\| (\d+) \| `([\w/.]+)`[^|]*\|[^|]* \[\1\]: )"), logged_codes());
  EXPECT_EQ(all(page, R"(\n\| `(REG_\w+)` \|)"),
            all(read("catalogue/root.txt"), R"((REG_\w+) \{)"));
  // The log has small letters in its numbers.
  std::string statuses = read("platform/include/nvreg.h") + read("platform/include/nvpol.h");
  std::ranges::transform(statuses, statuses.begin(), tolower);
  EXPECT_EQ(all(page, R"(\n\| 0x810200(\w+) \|)"), all(statuses, R"(status_code\(0x(\w+)u\))"));
}

TEST(ExportFiles, AreDescribedAsTheyAreRead) {
  std::string const page = read("docs/export-files.md");
  EXPECT_EQ(described(page), asked_for());
  EXPECT_EQ(all(page, R"(\n\| `(\w+?)N?` \| (?:all|\d{6}) \|)"),
            all(read("import/import_task_cflt.cpp"), R"re(\{"(\w+)")re"));
  // Also what the example does not happen to hold.
  Names missing;
  for (auto const& [path, text] : sources("import"))
    for (std::string const& name : all(text, R"re([{(,] ?"([A-Za-z]\w+)")re"))
      if (page.find(name) == page.npos) missing.insert(path + ": " + name);
  EXPECT_EQ(missing, Names());
}
