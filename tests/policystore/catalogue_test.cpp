// The error record and the messages it is made of, from the catalogue as it is installed.

#include "nvaddresslist.h"
#include "nvclassification.h"
#include "nvrulehive.h"
#include "scratch_home.h"

#include <gmock/gmock.h>
#include <unicode/uloc.h>

#include <stdlib.h>

#include <filesystem>
#include <map>
#include <memory>

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

std::map<std::string, int> const kArguments = {
    {"REG_EMPTY", 1},       {"REG_FAIL", 3},      {"REG_FAIL1", 2},      {"REG_FAIL2", 2},
    {"REG_FAIL3", 2},       {"REG_FAIL4", 4},     {"REG_FAILE2", 2},     {"REG_FILE", 3},
    {"REG_FILE2", 2},       {"REG_SIZE1", 1},     {"REG_SIZE2", 1},      {"REG_POSITIVE", 1},
    {"REG_NOSUBPOLICY", 0}, {"REG_REFERENCE", 3}, {"REG_ADDREMPTY1", 1}, {"REG_IMPORTFORMATERR", 4},
    {"REG_NOEXIST", 1},
};

struct Wrapper : zeva::ErrorRecord {};  // without a library behind it

void speak(char const* locale) {
  UErrorCode status = U_ZERO_ERROR;
  uloc_setDefault(locale, &status);
  ASSERT_TRUE(U_SUCCESS(status));
}

// The text of a failure, and what the wrapper said on standard output.
std::pair<std::string, std::string> fail_once() {
  testing::internal::CaptureStdout();
  Wrapper wrapper;
  wrapper.initResBundle();
  wrapper.seterror("REG_NOSUBPOLICY");
  return {wrapper.geterror(), testing::internal::GetCapturedStdout()};
}

}  // namespace

TEST(Catalogue, HoldsEveryMessageInEveryLanguage) {
  // Braces and apostrophes of an argument are text, not pattern.
  std::string const arguments[] = {"<{0}'s>", "<b>", "<c>", "<d>"};
  for (char const* language : {"root", "de"}) {
    ASSERT_TRUE(fs::exists(CATALOGUE_DIR + std::string("/") + language + ".res"));
    Nvresbundle bundle(CATALOGUE_DIR, "IDG_ZEVA_UTIL", language);
    for (auto const& [key, count] : kArguments) {
      icu::Formattable given[5];
      for (int i = 0; i < count; ++i) given[i] = arguments[i].c_str();
      given[count] = icu::Formattable(0);
      std::string text = bundle.getmessage(key, given);
      for (int i = 0; i < count; ++i) EXPECT_THAT(text, HasSubstr(arguments[i])) << language << key;
      EXPECT_THAT(text, EndsWith(". ")) << language << key;
      EXPECT_THAT(text, Not(HasSubstr("{" + std::to_string(count)))) << language << key;
    }
  }
}

TEST(ErrorRecord, JoinsFailuresInOrderAndForgetsThemWhenFetched) {
  speak("en_US");
  ScratchHome home;
  Wrapper wrapper;
  wrapper.initResBundle();
  wrapper.seterrorname("REG_FAIL", "call", "key\\{0}", -2130575348);
  wrapper.seterrorname("REG_FAIL2", "other", 5);
  wrapper.seterrorname("REG_NO_SUCH_NAME", "nothing");
  wrapper.seterrorname("REG_FAIL1", "place at ", "value");
  wrapper.seterrorname("REG_FAIL4", "query", "key", "value", -1);
  EXPECT_EQ(wrapper.geterror(),
            "The call call failed on \"key\\{0}\" with status 0x8102000c. "
            "The call other failed with status 0x00000005. "
            "Unknown or unfitting value type: place at \"value\". "
            "The call query failed on the value \"value\" of the key \"key\" with status "
            "0xffffffff. ");
  EXPECT_EQ(wrapper.geterror(), "");
  EXPECT_EQ(getnvpolerrcode(0), "error code is: 0000000000 \n");
  EXPECT_EQ(getnvpolerrcode(-2130575348), "error code is: 0x8102000c \n");
}

TEST(ErrorRecord, SpeaksTheLanguageOfTheProcess) {
  ScratchHome home;
  speak("en_US");
  std::string const english = fail_once().first;
  speak("fr_FR");
  EXPECT_EQ(fail_once().first, english);
  speak("de_AT");
  EXPECT_THAT(fail_once().first, HasSubstr("Unterrichtlinien"));
  for (char const* name : {"a b", "zeva'$(x)\"", "zeva.dat-", "zeva:a", "zevä"}) {
    std::string const odd = home.path() + "/" + name;
    fs::create_directory_symlink(home.path(), odd);
    setenv("ZEVA_HOME", odd.c_str(), 1);
    EXPECT_NE(fail_once().first, "") << name;
  }
}

// A wrapper without a home, and without a server where it is to open something.
template <class Wrapper, class... Arguments>
void expect_one_line(Arguments... arguments) {
  testing::internal::CaptureStdout();
  auto wrapper = std::make_unique<Wrapper>(arguments...);
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              MatchesRegex("(rb is NULL\n)*Unable to get ZEVA_HOME, initResBundle failed\\.\n"
                           "(rb is NULL\n)*"));
  testing::internal::CaptureStdout();
  wrapper.reset();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "nothing was open";
}

TEST(ErrorRecord, SaysWhatIsMissing) {
  unsetenv("ZEVA_HOME");
  expect_one_line<NvPoRegistry>();
  expect_one_line<NvPoRegistry>("nowhere");
  expect_one_line<NvRuleHive>();
  expect_one_line<NvRuleHive>("key", "nowhere");
  expect_one_line<NvClassification>();
  expect_one_line<NvClassification>("key", "nowhere");
  expect_one_line<NvAddresslist>("key", "nowhere");
  auto [text, said] = fail_once();
  EXPECT_EQ(text, "");
  EXPECT_EQ(said, "Unable to get ZEVA_HOME, initResBundle failed.\nrb is NULL\n");
  setenv("ZEVA_HOME", "", 1);  // set, and so the home is the root folder
  EXPECT_EQ(fail_once().second, "rb is NULL\n");
  unsetenv("ZEVA_HOME");
}
