#include "nvconfigfile.h"

#include <gtest/gtest.h>

#include <random>

#include "inifiles.h"

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

TEST(Nvinielement, CommentLinesAreAddedToTheirItemUntilInitialize) {
  Nvinielement element;
  element.setname("s");
  element.setcomment("s", "#1");
  element.setcomments("k", {"#2", ""});
  element.setcomment("k", "#3");
  element.setattribute("k", "v");
  NvConfigFile file;
  file.setelements(element);
  EXPECT_EQ(shown(file), "#1\n[s]\n#2\n\n#3\nk=v|\n");

  element.initialize();
  element.setattribute("k", "w");
  file.setelements(element);
  EXPECT_EQ(shown(file), "#1\n[s]\n#2\n\n#3\nk=v|\n[]\nk=w|\n");
  element.setname("s");
  file.setelements(element);
  EXPECT_EQ(shown(file), "[s]\nk=w|\n[]\nk=w|\n");
}

TEST(Nvinielement, CommentLinesOfANameThatBecomesTheSectionsAreTheHeaders) {
  Nvinielement element;
  element.setcomment("s", "#1");
  element.setcomment("k", "#2");
  element.setattribute("k", "v");
  NvConfigFile file;
  for (char const* name : {"s", "k", "s"}) {
    element.setname(name);
    file.setelements(element);
  }
  EXPECT_EQ(shown(file), "#1\n[s]\n#2\nk=v|\n#1\n[k]\n#2\nk=v|\n");
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
  Nvinielement keys = section, lines = section, line = section, several = section;
  keys.setattribute(keys.getattributes()[0].value, keys.getattributes()[0].value);
  EXPECT_EQ(keys.getattributes(), (std::vector<Nvkeypair>{{"k", "new"}, {"new", "new"}}));
  lines.addkeycomment(text(lines), text(lines));
  EXPECT_EQ(lines.getkeycomment("new"), "new");
  line.setcomment(text(line), text(line));
  EXPECT_EQ(line.getkeycomment("new"), "new\n");
  several.setcomments(text(several), {"1", "2"});
  EXPECT_EQ(several.getkeycomment("new"), "1\n2\n");

  NvConfigFile first;
  first.setelements(section);
  NvConfigFile file = first;
  file.setsection(file.sections()[0].getvalue().getheadercomment(), {});
  EXPECT_EQ(shown(file), "new[s]\nnewk=new|\n[new]\n");
}

// The content of the first item of that name, of sections as of keys.
template <typename List>
auto first(List* list, std::string const& name) -> decltype(&list->front().value) {
  for (auto& [known, value] : *list)
    if (known == name) return &value;
  return nullptr;
}

struct PlainSection {
  std::string name;
  std::vector<Nvkeypair> value{};
};

TEST(NvConfigFile, AgreesWithPlainListsOnARandomWalk) {
  unsigned const seed = 20240608;
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  auto below = [&](size_t bound) { return random() % bound; };
  // Names enough for sections and files on both sides of the length where an index begins.
  auto name = [&](char kind) { return kind + std::to_string(below(below(2) == 0 ? 4 : 60)); };
  NvConfigFile file;
  std::vector<PlainSection> model;
  auto put = [&](std::string const& section, std::vector<Nvkeypair> keys) {
    if (first(&model, section) == nullptr) model.push_back({section});
    *first(&model, section) = std::move(keys);
  };
  for (int step = 0; step < 20000; ++step) {
    std::string const section = name('s'), key = name('k'), value = std::to_string(step);
    auto* keys = first(&model, section);
    std::vector<Nvkeypair> list;
    for (size_t count = below(40); count > 0; --count) list.push_back({name('k'), value});
    Nvinielement element;
    switch (below(24)) {
      case 0:  // a list with names twice
        file.setsection(section, list);
        put(section, list);
        break;
      case 1:
        element.setname(section);
        element.setattributes(std::move(list));
        put(section, element.getattributes());
        file.setelements(element);
        break;
      case 2:  // a copy, independent of its origin
        file = NvConfigFile(std::exchange(file, {}));
        NvConfigFile(file).setattribute(section, key, "elsewhere");
        break;
      case 3:
        ASSERT_EQ(file.getelements(section, element), keys == nullptr ? -1 : 0);
        ASSERT_TRUE(keys == nullptr || element.getattributes() == *keys);
        break;
      default:
        ASSERT_EQ(file.setattribute(section, key, value), keys == nullptr ? -1 : 0);
        if (keys == nullptr) break;
        if (first(keys, key) == nullptr) keys->push_back({key});
        *first(keys, key) = value;
    }
    std::string const asked = name('s'), wanted = name('k');
    keys = first(&model, asked);
    std::string* known = keys == nullptr ? nullptr : first(keys, wanted);
    std::string got = "untouched";
    ASSERT_EQ(file.getattribute(asked, wanted, got), known == nullptr ? -1 : 0) << "step " << step;
    ASSERT_EQ(got, known == nullptr ? "untouched" : *known) << "step " << step;
  }
  std::vector<std::string> names, expected;
  for (PlainSection const& section : model) expected.push_back(section.name);
  ASSERT_EQ(file.getsecnames(names), 0);
  EXPECT_EQ(names, expected);
}

}  // namespace
