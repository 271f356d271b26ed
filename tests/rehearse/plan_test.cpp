#include "plan.h"

#include "digest.h"
#include "kept_file.h"
#include "nvreg.h"
#include "registry_view.h"
#include "work_folder.h"

#include <gmock/gmock.h>

namespace {

using zeva::read_plan;

zeva::Plan sample() {
  zeva::Plan plan{"/p\xFF", true, "/h", {"a\\b"}, std::string("\0salt", 5), "1", "2", "3", {}, {}};
  plan.before = std::make_unique<zeva::Key>();
  plan.after = std::make_unique<zeva::Key>();
  zeva::Key& key = plan.after->subkeys.at("a\n\xFE").subkeys.at("b");
  plan.after->subkeys.at("c");
  for (zeva::Value const& value :
       std::initializer_list<zeva::Value>{{"", NVREG_STRING, std::string("x\0y", 3)},
                                          {"n", NVREG_DWORD, "\1\2\3\4"},
                                          {"b", NVREG_BINARY, "\xFF"},
                                          {"m", zeva::kMaskedValue, "0123"}}) {
    key.values.at(value.name) = value;
  }
  return plan;
}

TEST(Plan, IsReadAsItWasWritten) {
  WorkFolder work;
  std::string const bytes = zeva::write_plan(sample(), "{\"left_out\":1}\n");
  work.write("plan", bytes);
  zeva::Plan plan;
  ASSERT_EQ(read_plan(work / "plan", plan), std::nullopt);
  EXPECT_EQ(plan.package, "/p\xFF");
  EXPECT_EQ(plan.salt, std::string("\0salt", 5));
  EXPECT_EQ(plan.masked, std::vector<std::string>{"a\\b"});
  EXPECT_EQ(zeva::write_plan(plan, "{\"left_out\":1}\n"), bytes);
}

TEST(Plan, ADamagedOneIsRefused) {
  WorkFolder work;
  std::string const sealed = zeva::write_plan(sample(), "{}\n");
  std::string const good = sealed.substr(0, sealed.rfind('{'));
  std::vector<std::string> damaged{"", good + "x", good + "{}\n"};
  for (size_t end = good.find('\n'); end + 1 < good.size(); end = good.find('\n', end + 1)) {
    damaged.push_back(good.substr(0, end + 1));
  }
  struct Row {
    std::string from, to;
  };
  for (Row const& row : std::vector<Row>{{"\"depth\":1", "\"depth\":9"},
                                         {"\"depth\":1", "\"depth\":0"},
                                         {"\"name\":\"b\"", "\"name\":7"},
                                         {"\"values\":[]", "\"values\":[[]]"},
                                         {"[\"n\",0,", "[\"n\",-1,"},
                                         {"0afe\"", "0af\""},
                                         {"\"salt\":\"", "\"salt\":\"z"},
                                         {"\"home\":", "\"hime\":"},
                                         {"true", "1"}}) {
    std::string text = good;
    size_t const place = text.rfind(row.from);
    ASSERT_NE(place, text.npos) << row.from;
    damaged.push_back(text.replace(place, row.from.size(), row.to));
  }
  for (std::string& bytes : damaged) {
    bytes += "{\"digest\":\"" + zeva::text_digest(bytes) + "\"}\n";
  }
  std::string other = sealed;
  damaged.push_back(other.replace(other.find("\"n\""), 3, "\"o\""));
  damaged.push_back(good);
  for (std::string const& bytes : damaged) {
    work.write("plan", bytes);
    zeva::Plan plan;
    EXPECT_EQ(read_plan(work / "plan", plan), "is damaged, or no plan") << bytes;
  }
  // Deeper than a parser's tree could be copied or freed by recursion.
  damaged = {"{\"format_version\":1,\"x\":" + std::string(300000, '[') + std::string(300000, ']') +
             "}\n"};
  work.write("plan", damaged[0]);
  zeva::Plan deep;
  EXPECT_EQ(read_plan(work / "plan", deep), "is damaged, or no plan");

  std::string newer = sealed;
  work.write("plan", newer.replace(newer.find("version\":1"), 10, "version\":2"));
  zeva::Plan plan;
  EXPECT_EQ(read_plan(work / "plan", plan), "is a plan of another version, 2: rehearse again");
}

TEST(Plan, HasItsNameOnceItIsOnTheDisk) {
  WorkFolder work;
  zeva::KeptFile file;
  EXPECT_EQ(file.make(work / "plan"), 0);
  testing::internal::CaptureStderr();
  EXPECT_EQ(file.keep(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "file synced\nrenamed\nfolder synced\n");
}

}  // namespace
