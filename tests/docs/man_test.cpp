// The manual pages and the code know the same options, kinds of findings and results.

#include "command.h"
#include "finding.h"
#include "project_text.h"
#include "results.h"

#include <gmock/gmock.h>

namespace {

std::string page(std::string const& name) {
  return std::regex_replace(read("docs/man/" + name), std::regex(R"(\\-)"), "-");
}

TEST(ManualPages, NameTheOptionsOfEachTool) {
  for (std::string const program : {PACK, UNPACK, REGDUMP, REHEARSE, RESTORE}) {
    std::string const name = program.substr(program.rfind('/') + 1);
    auto const help = zeva::run_command({{program, "--help"}, "", {}});
    ASSERT_EQ(help.exit_status, 0);
    EXPECT_EQ(all(help.output, "(--[a-z]+)"), all(page(name + ".1"), "(--[a-z]+)")) << name;
    EXPECT_EQ(all(help.output, "\n([^U\n].{80,})"), Names()) << "too wide";
  }
}

// What bash offers after a line, of which the last word is being typed, and how it is told to.
std::string offered(std::string const& program, std::string const& before,
                    std::string const& word) {
  std::string const name = program.substr(program.rfind('/') + 1);
  auto const done =
      zeva::run_command({{"bash", "-c",
                          "compopt() { echo $*; }; COMP_WORDS=(x --only = y) COMP_CWORD=3; "
                          ". \"$1/$2\" && _zeva \"$3\" \"$4\" \"$5\" && echo ${COMPREPLY[@]}",
                          "bash", COMPLETIONS, name, program, word, before},
                         SOURCE_FOLDER "/examples",
                         {}});
  return done.output + done.error;
}

TEST(Completion, OffersOptionsAreasAndFiles) {
  EXPECT_EQ(offered(REGDUMP, "zeva-regdump", "--"), "--help --home --server --json --version\n");
  EXPECT_EQ(offered(REHEARSE, "zeva-rehearse", "--ex"), "--exit-code\n");
  EXPECT_EQ(offered(REHEARSE, "--only", "s"), "scan-settings sender-lists single-values\n");
  EXPECT_EQ(offered(REHEARSE, "=", "ta"), "tasks\n");
  EXPECT_EQ(offered(REHEARSE, "--from", ""), "-o filenames\nbranch-office\n");
  EXPECT_EQ(offered(PACK, "zeva-pack", "RE"), "\n");  // bash itself offers files
  EXPECT_EQ(offered(REHEARSE, "--key", "R"), "+o default\n\n");
}

TEST(ManualPages, NameTheKindsOfFindings) {
  std::string text = page("zeva-rehearse.1");
  text = text.substr(text.find(".SH FINDINGS"));
  text = text.substr(0, text.find(".SH EXIT"));
  Names documented = all(text, R"(\n\.TP\n\.B ([a-z0-9-]+))");
  documented.merge(all(text, R"(\\fB([a-z0-9-]+))"));
  Names known;
  for (zeva::FindingKind const& kind : zeva::kFindingKinds) known.insert(kind.name);
  EXPECT_EQ(known, documented);
}

TEST(ManualPages, NameTheResults) {
  Names const documented = all(page("zeva-migrate.8"), R"(\n(-?\d+):\()");
  Names known;
  for (zeva::Result const& result : zeva::kResults) known.insert(std::to_string(result.code));
  EXPECT_EQ(known, documented);
  EXPECT_EQ(known, all(read("README.md"), R"(\n\| (-?\d+) \| \d+ \|)"));
}

}  // namespace
