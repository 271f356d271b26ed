#include "command.h"
#include "registry_client.h"
#include "scratch_home.h"
#include "work_folder.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <optional>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

// A running gateway with a few keys of a test's own beside the factory's.
class RegDump : public testing::Test {
 protected:
  RegDump() {
    home_.start();
    registry_.emplace(home_.address());
  }

  void set(std::string const& path, std::string const& name, _NvRegDataType type,
           std::string const& data) {
    ASSERT_EQ(registry_->create(path), NVREG_OK);
    ASSERT_EQ(registry_->set(path, name, type, data), NVREG_OK);
  }

  zeva::CommandResult regdump(std::string const& arguments) {
    return work_.sh(REGDUMP " " + arguments);
  }

  // What both ways print, which must be the same. Reading the files changes nothing.
  std::string dump(std::string const& arguments) {
    std::string const look = "cd " + home_.path() + "/config; ls -lA --time-style=full-iso; cat *";
    std::string const before = work_.sh(look).output;
    auto const files = regdump("--home " + home_.path() + " " + arguments);
    EXPECT_TRUE(work_.sh(look).output == before);
    auto const server = regdump("--server " + home_.address() + " " + arguments);
    EXPECT_EQ(files.error + server.error, "");
    EXPECT_EQ(files.exit_status, 0);
    EXPECT_TRUE(files.output == server.output);
    return files.output;
  }

  WorkFolder work_;
  ScratchHome home_;
  std::optional<RegistryClient> registry_;
};

TEST_F(RegDump, ShowsEveryKindOfValue) {
  set("T\\b", "number", NVREG_DWORD, {"\xFF\xFF\xFF\xFF", 4});
  set("T\\b", "", NVREG_STRING, {"end\0unseen\0", 11});
  set("T\\a", "open", NVREG_STRING, "unterminated");
  set("T\\a", "none", NVREG_STRING, "");
  set("T\\a", "bytes", NVREG_BINARY, {"\x00\x1F\xFF", 3});
  set("T\\a", "list", NVREG_MULTISTRING, {"one\0two\0\0unseen\0", 16});
  set("T\\a", "cut", NVREG_MULTISTRING, {"one\0tw", 6});
  set("T\\a\\\xFE\n", "\xED\xA0\x80", NVREG_STRING, {"\xC3\x28\0", 3});
  EXPECT_EQ(dump("T"),
            "T\n"
            "T\\b\n"
            "    number=DW 4294967295\n"
            "    =SZ end\n"
            "T\\a\n"
            "    open=SZ unterminated\n"
            "    none=SZ \n"
            "    bytes=BI 00 1f ff \n"
            "    list=MS one, two, \n"
            "    cut=MS one, tw, \n"
            "T\\a\\\xFE\n\n"
            "    \xED\xA0\x80=SZ \xC3\x28\n");
  EXPECT_EQ(dump(R"(--json '\T\\')"),
            R"({"key":"T","values":[]}
{"key":"T\\b","values":[{"name":"number","type":"dword","value":4294967295},)"
            R"({"name":"","type":"string","value":"end"}]}
{"key":"T\\a","values":[{"name":"open","type":"string","value":"unterminated"},)"
            R"({"name":"none","type":"string","value":""},)"
            R"({"name":"bytes","type":"binary","value":"001fff"},)"
            R"({"name":"list","type":"multistring","value":["one","two"]},)"
            R"({"name":"cut","type":"multistring","value":["one","tw"]}]}
{"key":{"hex":"545c615cfe0a"},"values":[{"name":{"hex":"eda080"},"type":"string",)"
            R"("value":{"hex":"c328"}}]}
)");
}

TEST_F(RegDump, ShowsTheWholeStoreHoweverDeepAndLong) {
  std::string deep = "deep";
  for (int i = 0; i < 2000; ++i) deep += "\\" + std::to_string(i);
  set(deep, std::string(NVREG_MAX_NAME, 'n'), NVREG_STRING, std::string(NVREG_MAX_VALUE, 'v'));
  std::string const all = dump("--json");
  EXPECT_THAT(all, StartsWith("{\"key\":\"\",\"values\":[]}\n{\"key\":\"registry\""));
  EXPECT_THAT(all, HasSubstr(R"({"key":"registry\\config","values":[{"name":"ProcessErrorCls")"));
  EXPECT_NE(all.find(std::string(NVREG_MAX_VALUE, 'v') + "\"}]}\n"), std::string::npos);
  EXPECT_THAT(dump(""), StartsWith("\nregistry\n"));
}

TEST_F(RegDump, ATerminalGetsNoControlBytes) {
  set("T", "\033]0;x\a", NVREG_STRING, {"a\n\033[31mb\x9B\u202E\u00E9\0", 16});
  auto const shown = work_.sh("script -qec '" REGDUMP " --home " + home_.path() + " T' /dev/null");
  EXPECT_EQ(shown.output,
            "T\r\n    \\x1b]0;x\\x07=SZ a\\n\\x1b[31mb\\x9b\\xe2\\x80\\xae\u00E9\r\n");
}

TEST_F(RegDump, BadInputIsNamed) {
  work_.write("damaged/config/cFlt_db.xml", "no store");
  std::string const home = "--home " + home_.path();
  std::string const endless(2000, 'n');
  struct Case {
    std::string arguments;
    std::string error;
    int exit_status = 1;
  };
  for (Case const& c : {
           Case{home + " a/b", "a/b: there is no such key\n"},
           Case{"--server " + home_.address() + " a", "a: there is no such key\n"},
           Case{home + " " + endless, endless + ": is no key's path\n"},
           Case{"--home damaged", "damaged: "},
           Case{"--server here", "here: is not an address of the form ZEVA:PORT\n"},
           Case{"--server ZEVA:1", "ZEVA:1: no registry server answers there\n"},
           Case{home + " --server x", "--home and --server exclude each other: see --help\n", 2},
           Case{home + " > /dev/full",
                "standard output: cannot be written: No space left on device\n"},
       }) {
    auto const result = regdump(c.arguments);
    EXPECT_EQ(result.exit_status, c.exit_status) << c.error;
    EXPECT_THAT(result.error, StartsWith("zeva-regdump: " + c.error));
    EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1) << result.error;
    EXPECT_EQ(result.output, "");
  }
  work_.sh("mkdir cut; cp -r " + home_.path() + "/config cut; echo >>cut/config/cFlt_db.xml.redo");
  auto const cut = regdump("--home cut");
  EXPECT_EQ(cut.exit_status, 0);
  EXPECT_THAT(cut.error, HasSubstr("/cFlt_db.xml.redo: it ends in a record that is torn or still"));
  // An empty home is a home, too: not the standard one.
  EXPECT_THAT(work_.sh("ZEVA_HOME= " REGDUMP).error, HasSubstr(" /config/"));
}

}  // namespace
