// The examination knows by itself what the importers ask for. Here they are asked: every importer
// runs over the example, and what they read must be what the examination calls read.

#include "examine.h"
#include "importers.h"
#include "nvconfigfile.h"
#include "runlog.h"
#include "scratch_home.h"
#include "work_folder.h"

#include <gmock/gmock.h>

namespace {

zeva::AskedKeys asked;
constexpr char kFolder[] = EXAMPLE_FOLDER "/";

}  // namespace

extern "C" int
real_getattribute(NvConfigFile const*, std::string_view, std::string_view, std::string&) asm(
    "__real__ZNK12NvConfigFile12getattributeESt17basic_string_viewIcSt11char_traitsIcEES3_RNSt"
    "7__cxx1112basic_stringIcS2_SaIcEEE");
extern "C" int
heard_getattribute(NvConfigFile const*, std::string_view, std::string_view, std::string&) asm(
    "__wrap__ZNK12NvConfigFile12getattributeESt17basic_string_viewIcSt11char_traitsIcEES3_RNSt"
    "7__cxx1112basic_stringIcS2_SaIcEEE");
extern "C" unsigned __wrap_sleep(unsigned) {
  return 0;
}

int heard_getattribute(NvConfigFile const* file, std::string_view section, std::string_view key,
                       std::string& value) {
  int const result = real_getattribute(file, section, key, value);
  if (result == 0 && file->getname().starts_with(kFolder)) {
    asked[file->getname().substr(strlen(kFolder))].emplace(section, key);
  }
  return result;
}

TEST(Examine, AsksForWhatTheImportersAskFor) {
  WorkFolder work;
  ScratchHome home;
  home.start();
  SetDebugLogFileName((work / "log").c_str());
  for (auto importer : {import_filter_action, import_config, import_policy, import_xfilter,
                        import_addr_list, import_misc}) {
    ASSERT_EQ(importer(EXAMPLE_FOLDER, home.address().c_str()), 0) << work.read("log");
  }
  zeva::AskedKeys const examined = zeva::examine_package(EXAMPLE_FOLDER).asked;
  for (auto const& [file, keys] : asked) {
    ASSERT_TRUE(examined.contains(file)) << file;
    EXPECT_EQ(examined.at(file), keys) << file;
  }
  EXPECT_EQ(examined.size(), asked.size());
}
