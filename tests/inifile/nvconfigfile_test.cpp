#include "nvconfigfile.h"

#include "inifiles.h"

#include <gtest/gtest.h>

namespace {

TEST(NvConfigFile, MissesLeaveTheOutputAlone) {
  NvConfigFile file;
  std::vector<std::string> names{"kept"};
  std::vector<Nvkeypair> attributes{{"kept", ""}};
  EXPECT_EQ(file.getsecnames(names), -1);
  EXPECT_EQ(file.getsecnames(names), -1);
  EXPECT_EQ(file.geterror(), "getsection names is empty.\ngetsection names is empty.\n");
  EXPECT_EQ(file.getsection("s", attributes), -1);
  EXPECT_EQ(attributes.size(), 1u);

  // Without a section's name, keys are those of the only section.
  for (int const sections : {0, 1, 2}) {
    if (sections > 0) file.setsection("s" + std::to_string(sections), {{"k", "1"}});
    int const found = sections == 1 ? 0 : -1;
    std::string value = "kept";
    EXPECT_EQ(file.setattribute("k", "2"), found);
    EXPECT_EQ(file.getattribute("K", value), -1);
    EXPECT_EQ(file.getattribute("k", value), found);
    EXPECT_EQ(value, found == 0 ? "2" : "kept");
  }
  EXPECT_EQ(file.getsecnames(names), 0);
  EXPECT_EQ(names, (std::vector<std::string>{"kept", "s1", "s2"}));
}

TEST(Nvinielement, CommentLinesStayWithTheirNamesUntilInitialize) {
  Nvinielement element;
  element.setcomment("s", "#1");
  element.setcomments("k", {"#2", ""});
  element.setcomment("k", "#3");
  element.setattribute("k", "v");
  NvConfigFile file;
  for (char const* name : {"s", "k", "s"}) {
    element.setname(name);
    file.setelements(element);
  }
  EXPECT_EQ(shown(file), "#1\n[s]\n#2\n\n#3\nk=v|\n#1\n[k]\n#2\n\n#3\nk=v|\n");
  element.setcomment("s", "#4");
  EXPECT_EQ(element.getheadercomment(), "#1\n#4\n");

  element.initialize();
  element.setattribute("k", "w");
  file = NvConfigFile();
  file.setelements(element);
  EXPECT_EQ(shown(file), "[]\nk=w|\n");
}

// Short texts lie inside their items, which move when a list grows; that of a copy has no room
// left.
TEST(NvConfigFile, StoresTextsOfItsOwn) {
  Nvinielement section;
  section.setname("s");
  section.setattribute("k", "new");
  section.addkeycomment("k", "new");
  section.addheadercomment("new");
  auto text = [](Nvinielement const& element) { return element.getkeycomment("k"); };
  Nvinielement keys = section, lines = section, several = section;
  keys.setattribute(keys.getattributes()[0].value, keys.getattributes()[0].value);
  EXPECT_EQ(keys.getattributes(), (std::vector<Nvkeypair>{{"k", "new"}, {"new", "new"}}));
  lines.addkeycomment(text(lines), text(lines));
  EXPECT_EQ(lines.getkeycomment("new"), "new");
  several.setcomments(text(several), {"1", "2"});
  EXPECT_EQ(several.getkeycomment("new"), "1\n2\n");

  NvConfigFile first;
  first.setelements(section);
  NvConfigFile file = first;
  file.setsection(file.sections()[0].getvalue().getheadercomment(), {});
  EXPECT_EQ(shown(file), "new[s]\nnewk=new|\n[new]\n");
}

TEST(NvConfigFile, TheFirstOfANameCounts) {
  NvConfigFile file;
  file.setsection("s", {{"k", "1"}, {"k", "2"}});
  file.setsection("t", {{"l", "1"}});
  EXPECT_EQ(NvConfigFile(file).setattribute("s", "k", "elsewhere"), 0);
  EXPECT_EQ(file.setattribute("s", "k", "3"), 0);
  EXPECT_EQ(file.setattribute("t", "k", "4"), 0);
  EXPECT_EQ(file.setattribute("u", "k", "5"), -1);
  EXPECT_EQ(shown(file), "[s]\nk=3|\nk=2|\n[t]\nl=1|\nk=4|\n");
  std::string value;
  EXPECT_EQ(file.getattribute("s", "k", value), 0);
  EXPECT_EQ(value, "3");
  file.setsection("s", {{"m", "6"}});
  EXPECT_EQ(shown(file), "[s]\nm=6|\n[t]\nl=1|\nk=4|\n");
}

}  // namespace
