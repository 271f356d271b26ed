// The pages on log codes and on export files against the code that they describe: what stands on
// one side only is a failure.

#include "export_files.h"
#include "import_task.h"
#include "nvconfigfile.h"
#include "nvpol.h"
#include "nvporegistry.h"
#include "project_text.h"
#include "results.h"

#include <ctype.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

using zeva::Fate;

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
    Names numbers = all(text, R"(k\w*Code = (\d+);)");
    for (std::string const& list : all(text, R"(k\w*Codes\[\] = \{([^}]*)\})"))
      numbers.merge(all(list, R"((\d+))"));
    for (std::string const& call : all(text, R"(\b((?:)" + loggers + R"()\b[^;]*;))"))
      numbers.merge(all(call, R"([(,]\s*(\d+)(?=\s*[,)]))"));
    for (std::string const& number : numbers) codes.insert(number + " " + path);
  }
  return codes;
}

// A name with N for the number in it.
std::string shown(std::string name) {
  if (size_t const at = name.find("%d"); at != name.npos) name.replace(at, 2, "N");
  return name;
}

// "CHAPTER SECTION.KEY TYPE", then where the value is cut, if it is before others are, and
// whether it is optional.
void add(Names& names, std::string const& chapter, zeva::ExportSection const& section) {
  for (zeva::ExportKey const& key : section.keys) {
    std::string rest = key.optional ? " optional" : "";
    if (key.fate == Fate::kShownName) rest = " " + std::to_string(NVPOL_DISPLAY_NAME_SIZE) + rest;
    if (key.fate == Fate::kRemark) rest = " " + std::to_string(NVPOL_COMMENT_SIZE) + rest;
    for (int type = VALUE_NUMBER; type <= VALUE_IDENTIFIER; ++type) {
      if (key.type != VALUE_ANY && key.type != type) continue;
      names.insert(chapter + " " + shown(section.name) + "." + shown(key.name) + " " +
                   std::to_string(type) + rest);
    }
  }
}

// The chapters on files, by what their titles begin with.
std::map<std::string, std::string> chapters(std::string const& page) {
  std::map<std::string, std::string> chapters;
  std::istringstream lines(page);
  std::string title;
  for (std::string line; std::getline(lines, line);) {
    std::smatch heading;
    if (std::regex_match(line, heading, std::regex(R"(### `?([^:`]*).*)"))) title = heading[1];
    chapters[title] += line + "\n";
  }
  return chapters;
}

Names described(std::string const& page) {
  Names names;
  for (auto const& [title, text] : chapters(page)) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      std::smatch row, cut;
      if (!std::regex_match(line, row,
                            std::regex(R"(\| `(\w+)` \| (.*) \| ([1-4, ]+) \| (.*) ?\|)")))
        continue;
      std::string const meaning = row[4];
      std::string rest = meaning.starts_with("optional:") ? " optional" : "";
      if (std::regex_search(meaning, cut, std::regex("cut at (\\d+) bytes")))
        rest = " " + cut[1].str() + rest;
      for (std::string const& key : all(row[2], R"(`(\w+)`)"))
        for (std::string const& type : all(row[3], "([1-4])"))
          names.insert(title + " " + row[1].str() + "." + key + " " + type + rest);
    }
  }
  return names;
}

// "TYPE KEY KEY" of each type of action: the page's rows hold one, two or a range of them.
Names described_actions(std::string const& chapter) {
  Names names;
  std::regex const row(R"(\n\| (\d+)(?:(,| to) (\d+))? \(.*\) \| .* \| (.*) \|)");
  for (auto at = std::sregex_iterator(chapter.begin(), chapter.end(), row);
       at != std::sregex_iterator(); ++at) {
    int const first = std::stoi((*at)[1]), last = (*at)[3].matched ? std::stoi((*at)[3]) : first;
    std::string const keys = (*at)[4] == "none" ? "" : (*at)[4].str() + ", ";
    for (int type = first; type <= last; ++type) names.insert(std::to_string(type) + " " + keys);
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
  auto const texts = chapters(page);
  Names keys, actions;
  std::regex const needed(R"(\n\| `(\w+?)N?` \| (all|\d{6}) \|)");
  auto const add_sections = [&](std::string const& chapter, auto const& sections) {
    for (zeva::ExportSection const& section : sections) {
      add(keys, chapter, section);
      if (section.stored_in == nullptr) continue;
      bool const said =
          texts.at(chapter).find("`" + std::string(section.stored_in) + "`") != page.npos ||
          texts.at(chapter).find("`" + std::string(section.stored_in) + "\\") != page.npos;
      EXPECT_TRUE(said) << section.stored_in;
    }
  };
  for (auto const& [name, sections] : zeva::kExportFiles) add_sections(shown(name), sections);
  std::string const action_file = shown(zeva::kActionFile);
  for (zeva::ActionType const& type : zeva::kActionTypes) {
    add(keys, action_file, {zeva::kAction.name, type.keys});
    std::string row = std::to_string(type.type) + " ";
    for (zeva::ExportKey const& key : type.keys) row += "`" + std::string(key.name) + "`, ";
    actions.insert(row);
  }
  for (zeva::TaskKind const& kind : zeva::kTaskKinds) {
    std::string const filter = std::to_string(kind.filter);
    if (kind.required.empty()) add_sections("Task files with filter " + filter, kind.sections);
    std::string required, on_page;
    for (zeva::RequiredSection const& section : kind.required)
      required.append(section.name).append(" ");
    for (std::sregex_iterator row(page.begin(), page.end(), needed), end; row != end; ++row)
      if (!kind.required.empty() && ((*row)[2] == "all" || (*row)[2] == filter))
        on_page += (*row)[1].str() + " ";
    EXPECT_EQ(on_page, required) << filter << ": what stands above a missing section is stored";
  }
  EXPECT_EQ(described(page), keys);
  EXPECT_EQ(described_actions(texts.at(action_file)), actions);
}

TEST(Limits, AreThoseOfThePages) {
  std::string const seconds = std::to_string(zeva::kWatchdogSeconds) + " seconds";
  std::string const bytes = std::to_string(zeva::kValueBuffer).insert(1, ",") + " bytes";
  std::string const file = std::to_string(zeva::kLargestFile >> 20) + " MiB";
  std::pair<char const*, std::string> const promises[] = {
      {"README.md", "at most " + seconds},
      {"README.md", "more than " + seconds},
      {"docs/log-codes.md", "more than " + seconds},
      {"docs/man/zeva-migrate.8", seconds},
      {"import/results.h", "more than " + seconds},
      {"docs/export-files.md", "below " + bytes},
      {"docs/export-files.md", "A text of " + bytes},
      {"docs/export-files.md", "at most " + file},
      {"docs/log-codes.md", "larger than " + file}};
  for (auto const& [page, promise] : promises)
    EXPECT_NE(read(page).find(promise), std::string::npos) << page << ": " << promise;
}
