#include "witnessed_log.h"

#include "work_folder.h"

#include <gmock/gmock.h>

namespace {

std::string const kHead = "[2026/01/02 03:04:05][pid=12l][tid=34l]:";

// The log as a run writes it, with the witness's notes of its lines and of the files read between.
TEST(WitnessedLog, TellsEachLineItsFile) {
  struct Step {
    char const* read;  // before the line; null for nothing
    std::string line;
    std::string shown;
  };
  std::vector<Step> const steps{
      {nullptr, "Import policys...", "  Import policys..."},
      {"tasks/a.txt", "Warning [154]: changed to 4", "tasks/a.txt! Warning [154]: changed to 4"},
      {nullptr, "Error [187]: read /tmp/migrate/policies/gone failed.txt failed.",
       "policies/gone failed.txt! Error [187]: read /tmp/migrate/policies/gone failed.txt failed."},
      {nullptr, "Error [148]: read value [a.b from c] from /tmp/migrate/b.txt failed.",
       "b.txt! Error [148]: read value [a.b from c] from /tmp/migrate/b.txt failed."},
      {"misc.txt", "Error [258]: a value that forges a line\n" + kHead + "Error [1]: of the log",
       "misc.txt! Error [258]: a value that forges a line\n" + kHead + "Error [1]: of the log"},
      {nullptr, "Error [63]: after it", "misc.txt! Error [63]: after it"},
      {nullptr, "Error [425]: of the store", "! Error [425]: of the store"},
      {nullptr, "Error [26]: of it, too", "! Error [26]: of it, too"},
      {"x.txt", "Error [484]: read /tmp/migrate/x.txt failed.",
       "x.txt! Error [484]: read /tmp/migrate/x.txt failed."},
      {nullptr, "Import address groups...", "  Import address groups..."},
      {nullptr, "Error [55]: of the store", "! Error [55]: of the store"},
  };
  WorkFolder work;
  std::string log, notes;
  for (Step const& step : steps) {
    if (step.read != nullptr) notes += std::string("7 /tmp/migrate/") + step.read + '\0';
    notes += std::to_string(log.size()) + " " + (work / "log") + '\0';
    log += kHead + step.line + "\n";
  }
  work.write("log", log);
  work.write("notes", notes);
  auto const lines = zeva::read_witnessed_log(work / "log", work / "notes", "/tmp/migrate");
  ASSERT_EQ(lines.size(), steps.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].file + (lines[i].is_trouble ? "! " : "  ") + lines[i].message,
              steps[i].shown);
  }
}

}  // namespace
