#include "witnessed_log.h"

#include <gmock/gmock.h>

#include "work_folder.h"

namespace {

std::string const kHeader = "[2026/01/02 03:04:05][pid=12l][tid=34l]:";

// A log as the run writes it, with the witness's notes of it and of the files read in between.
class LoggedRun {
 public:
  void log(std::string const& message) {
    note(log_.size(), work_ / "log");
    log_ += kHeader + message + "\n";
  }
  void read(std::string const& file) { note(7, "/tmp/migrate/" + file); }

  std::vector<std::string> lines() {
    work_.write("log", log_);
    work_.write("notes", notes_);
    std::vector<std::string> shown;
    for (auto const& line :
         zeva::read_witnessed_log(work_ / "log", work_ / "notes", "/tmp/migrate")) {
      shown.push_back(line.file + (line.is_trouble ? "! " : "  ") + line.message);
    }
    return shown;
  }

 private:
  void note(size_t size, std::string const& path) {
    notes_ += std::to_string(size) + " " + path + '\0';
  }

  WorkFolder work_;
  std::string log_;
  std::string notes_;
};

TEST(WitnessedLog, TellsEachLineItsFile) {
  LoggedRun run;
  run.log("Import policys...");
  run.read("tasks/a.txt");
  run.log("Warning [154]: BaselineDetectionRate changed to 4, original is 1");
  run.log("Error [187]: read /tmp/migrate/policies/gone failed.txt failed.");
  run.log("Error [148]: read value [a.b from c] from /tmp/migrate/b.txt failed.");
  run.read("misc.txt");
  run.log("Error [258]: a value that forges a line\n" + kHeader + "Error [1]: of the log");
  EXPECT_THAT(
      run.lines(),
      testing::ElementsAre(
          "  Import policys...",
          "tasks/a.txt! Warning [154]: BaselineDetectionRate changed to 4, original is 1",
          "policies/gone failed.txt! Error [187]: read /tmp/migrate/policies/gone failed.txt "
          "failed.",
          "b.txt! Error [148]: read value [a.b from c] from /tmp/migrate/b.txt failed.",
          "misc.txt! Error [258]: a value that forges a line\n" + kHeader +
              "Error [1]: of the log"));
}

}  // namespace
