// The bundled policy library over the real server: what it writes where, what it refuses, and what
// it makes of trees that others have written.

#include <gmock/gmock.h>
#include <string.h>

#include <fstream>
#include <functional>
#include <memory>

#include "nvpol.h"
#include "scratch_home.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Handle = _NvPolComHandle*;
using Texts = std::vector<std::string>;

// A store with one empty key for the hives, and a root rule in it.
class PolicyLibrary : public testing::Test {
 protected:
  PolicyLibrary() {
    home_.start();
    registry_ = nvreg_open(1, home_.address().c_str(), &root_, &status_);
    key_ = nvreg_createKey(root_, "policy", &status_);
    rule_ = nvreg_createKey(key_, "Rule\\Mail", &status_);
    EXPECT_EQ(status_, NVREG_OK);
  }
  ~PolicyLibrary() override {
    for (Handle key : {rule_, key_, root_}) nvreg_closeKey(key, &status_);
    nvreg_close(registry_, &status_);
  }

  void set(Handle key, char const* name, std::string const& text,
           _NvRegDataType type = NVREG_STRING) {
    nvreg_setValue(key, name, type, reinterpret_cast<unsigned char const*>(text.data()),
                   static_cast<uint32_t>(text.size()), &status_);
    EXPECT_EQ(status_, NVREG_OK);
  }

  // A key's values as "name=text" or "name=#number", in their order.
  Texts values(std::string const& path) {
    Texts found;
    Handle key = nvreg_openKey(root_, path.c_str(), &status_);
    for (uint32_t i = 0; status_ == NVREG_OK; ++i) {
      char name[64];
      unsigned char data[8192] = {};
      uint32_t name_length = sizeof name;
      uint32_t length = sizeof data - 1;
      _NvRegDataType type;
      nvreg_enumValue(key, i, name, &name_length, &type, data, &length, &status_);
      if (status_ != NVREG_OK) break;
      uint32_t number;
      memcpy(&number, data, sizeof number);
      found.push_back(name + (type == NVREG_DWORD ? "=#" + std::to_string(number)
                                                  : "=" + std::string((char*)data)));
    }
    int32_t ignored;
    if (key) nvreg_closeKey(key, &ignored);
    return found;
  }

  // All names that an enumeration gives; status_ is what ended it.
  Texts names(void (*next)(Handle, uint32_t, char*, uint32_t*, int32_t*), Handle parent) {
    Texts found;
    for (uint32_t i = 0;; ++i) {
      std::string name(8192, '\0');
      auto length = static_cast<uint32_t>(name.size());
      next(parent, i, name.data(), &length, &status_);
      if (status_ != NVREG_OK) return found;
      found.push_back(name.substr(0, length));
    }
  }

  void close(Handle key) {
    nvreg_closeKey(key, &status_);
    EXPECT_EQ(status_, NVREG_OK);
  }

  ScratchHome home_;
  Handle registry_ = nullptr;
  Handle root_ = nullptr;
  Handle key_ = nullptr;   // the hives' key
  Handle rule_ = nullptr;  // the root rule
  int32_t status_ = 0;
};

_NvPolAddrPairCond pair_of(char const* sender, char const* recipient) {
  _NvPolAddrPairCond pair = {};
  strcpy(pair.sender, sender);
  strcpy(pair.recipient, recipient);
  return pair;
}

TEST_F(PolicyLibrary, WritesObjectsWhereTheImportersDo) {
  _NvPolCommAttrib const plain = {"Shown", "Why"};
  Handle group = nvpol_createClassification(key_, "Spam", &plain, &status_);
  _NvPolActionAttrib const action = {"Act", "", 2, 0x10003, -1};
  close(nvpol_createAction(group, "Keep", &action, &status_));
  close(group);
  _NvPolAddrPairCond first = pair_of("*", "Staff");
  _NvPolAddrPairCond second = pair_of("", "a;b");
  _NvPolAddrPairCond* const pairs[] = {&first, &second, nullptr};
  _NvPolRuleAttr const rule_attr = {"Sales", "floor 2", 3, 0x80000001u};
  Handle sales = nvpol_createRule(rule_, "Sales", &rule_attr, pairs, 2, &status_);
  _NvPolTaskAttr const task_attr = {"Virus", "c", 1, 0x10001, 1, 0, 99};
  Handle task = nvpol_createTask(sales, "AV", &task_attr, &status_);
  nvpol_addOutcome(task, "Joke", "Delete", &status_);
  nvpol_addOutcome(task, "Worm", "Keep", &status_);
  nvpol_addOutcome(task, "Joke", "Spam", &status_);
  nvpol_inactivateTask(sales, "Inherited", 1, &status_);
  nvpol_inactivateTask(sales, "Inherited", 1, &status_);
  nvpol_inactivateTask(sales, "AV", 1, &status_);
  close(task);
  close(sales);
  _NvPolAddrListAttr const list_attr = {"Staff", "all", 0, 77};
  Handle list = nvpol_createAddrList(key_, "Staff", &list_attr, &status_);
  for (char const* address : {"a@x", "b@x", "a@x"}) nvpol_insertAddress(list, address, &status_);
  close(list);

  EXPECT_THAT(values("policy\\Classification\\Spam"),
              ElementsAre("displayName=Shown", "comment=Why"));
  EXPECT_THAT(values("policy\\Classification\\Spam\\actions\\Keep"),
              ElementsAre("order=#2", "comment=", "displayName=Act", "actionType=#65539",
                          "extra=#4294967295"));
  EXPECT_THAT(values("policy\\Rule\\Mail\\rules\\Sales"),
              ElementsAre("comment=floor 2", "displayName=Sales", "order=#3",
                          "matchType=#2147483649", "condition1=*;Staff", "condition2=;a;b"));
  EXPECT_THAT(values("policy\\Rule\\Mail\\rules\\Sales\\tasks\\AV"),
              ElementsAre("order=#1", "filter=#65537", "enable=#1", "overridable=#0", "comment=c",
                          "displayName=Virus"));
  EXPECT_THAT(values("policy\\Rule\\Mail\\rules\\Sales\\tasks\\AV\\Classification"),
              ElementsAre("Joke=Spam", "Worm=Keep"));
  EXPECT_THAT(values("policy\\Rule\\Mail\\rules\\Sales\\inactive"),
              ElementsAre("inactive1=Inherited", "inactive2=AV"));
  EXPECT_THAT(values("policy\\AddressList\\Staff"),
              ElementsAre("displayName=Staff", "comment=all", "order=#0", "address1=a@x",
                          "address2=b@x", "address3=a@x"));
}

TEST_F(PolicyLibrary, TakesNoNameForAPathAndNoNullForAText) {
  _NvPolTaskAttr const attr = {"d", "", 0, 0, 0, 0, 0};
  close(nvpol_createTask(rule_, "t", &attr, &status_));
  struct Row {
    char const* name;
    int32_t create, open;
  };
  std::string const longest(127, 'n');
  std::string const too_long(128, 'n');
  for (Row const& row : {Row{"", NVREG_BAD_NAME, NVREG_BAD_NAME},
                         {"t\\t", NVREG_BAD_NAME, NVREG_BAD_NAME},
                         {"\\t", NVREG_BAD_NAME, NVREG_BAD_NAME},
                         {too_long.c_str(), NVREG_BAD_NAME, NVREG_NOT_FOUND},
                         {nullptr, NVREG_BAD_ARGUMENT, NVREG_BAD_ARGUMENT},
                         {"t", NVREG_EXISTS, NVREG_OK},
                         {longest.c_str(), NVREG_OK, NVREG_OK}}) {
    Handle const made = nvpol_createTask(rule_, row.name, &attr, &status_);
    EXPECT_EQ(status_, row.create) << row.name;
    Handle const opened = nvpol_openTask(rule_, row.name, &status_);
    EXPECT_EQ(status_, row.open) << row.name;
    for (Handle task : {made, opened})
      if (task) close(task);
    nvpol_deleteTask(rule_, row.name, &status_);
    EXPECT_EQ(status_, row.open) << row.name;
  }
  nvpol_createTask(rule_, "new", nullptr, &status_);
  EXPECT_EQ(status_, NVREG_BAD_ARGUMENT);
  nvpol_createTask(nullptr, "new", &attr, &status_);
  EXPECT_EQ(status_, NVREG_BAD_ARGUMENT);
}

TEST_F(PolicyLibrary, ReadsRecordsWithinTheirBounds) {
  // On the heap and exactly as large as the record, so that a sanitizer sees any byte beyond it.
  auto full = std::make_unique<_NvPolCommAttrib>();
  memset(full.get(), 'f', sizeof *full);
  Handle group = nvpol_createClassification(key_, "full", full.get(), &status_);
  auto read = std::make_unique<_NvPolCommAttrib>();
  nvpol_getClassificationAttrib(group, read.get(), &status_);
  EXPECT_EQ(memcmp(read.get(), full.get(), sizeof *full), 0);

  // As others may have stored them: too long, of another type, without a terminator, missing.
  set(group, "displayName", std::string(3000, 'x'));
  set(group, "comment", "1234", NVREG_DWORD);
  nvpol_getClassificationAttrib(group, read.get(), &status_);
  EXPECT_EQ(std::string(read->displayName, 256), std::string(256, 'x'));
  EXPECT_EQ(read->comment[0], '\0');
  set(group, "displayName", "open end");
  set(group, "comment", std::string("a\0b", 3));
  nvpol_getClassificationAttrib(group, read.get(), &status_);
  EXPECT_STREQ(read->displayName, "open end");
  EXPECT_STREQ(read->comment, "a");
  close(group);
  _NvPolRuleAttr rule;
  set(rule_, "order", "12345678", NVREG_BINARY);
  nvpol_getRuleAttrib(rule_, &rule, &status_);
  EXPECT_EQ(status_, NVREG_OK);
  EXPECT_EQ(rule.order, 0);
  EXPECT_EQ(rule.displayName[0], '\0');
}

TEST_F(PolicyLibrary, LeavesNoHalfRuleAndRaisesNoDeletedParent) {
  _NvPolAddrPairCond good = pair_of("a", "b");
  _NvPolAddrPairCond bad = pair_of("a;c", "b");
  _NvPolAddrPairCond* const pairs[] = {&good, &bad};
  _NvPolRuleAttr const attr = {"d", "", 0, 0};
  EXPECT_EQ(nvpol_createRule(rule_, "half", &attr, pairs, 2, &status_), nullptr);
  EXPECT_EQ(status_, NVREG_BAD_NAME);
  EXPECT_THAT(names(nvpol_enumRule, rule_), IsEmpty());
  EXPECT_EQ(status_, NVREG_END_OF_LIST);

  Handle gone = nvpol_createRule(rule_, "gone", &attr, nullptr, 0, &status_);
  nvpol_deleteRule(rule_, "gone", &status_);
  _NvPolTaskAttr const task = {"d", "", 0, 0, 0, 0, 0};
  _NvPolRuleAttr read;
  std::function<void()> const calls[] = {
      [&] { nvpol_createRule(gone, "r", &attr, nullptr, 0, &status_); },
      [&] { nvpol_createTask(gone, "t", &task, &status_); },
      [&] { nvpol_addCondition(gone, &good, &status_); },
      [&] { nvpol_enumCondition(gone, 0, &good, &status_); },
      [&] { nvpol_inactivateTask(gone, "t", 1, &status_); },
      [&] { nvpol_isTaskActive(gone, "t", &status_); },
      [&] { nvpol_getRuleAttrib(gone, &read, &status_); },
      [&] { nvpol_setRuleAttrib(gone, &attr, &status_); },
      [&] { names(nvpol_enumTask, gone); },
      [&] { nvpol_addOutcome(gone, "o", "v", &status_); }};
  for (auto const& call : calls) {
    status_ = 1;
    call();
    EXPECT_EQ(status_, NVREG_NOT_FOUND) << &call - calls;
  }
  EXPECT_THAT(names(nvpol_enumRule, rule_), IsEmpty());
  close(gone);
}

TEST_F(PolicyLibrary, ReadsATreeThatAnImporterWrote) {
  set(rule_, "condition1", "only");
  set(rule_, "condition2", std::string(600, 's') + ";" + std::string(600, 'r'));
  set(rule_, "condition3", "");
  _NvPolAddrPairCond pair;
  nvpol_enumCondition(rule_, 0, &pair, &status_);
  EXPECT_STREQ(pair.sender, "only");
  EXPECT_STREQ(pair.recipient, "");
  nvpol_removeCondition(rule_, &pair, &status_);
  EXPECT_EQ(status_, NVREG_OK);
  nvpol_enumCondition(rule_, 0, &pair, &status_);
  EXPECT_EQ(std::string(pair.sender, 512), std::string(512, 's'));
  EXPECT_EQ(std::string(pair.recipient, 512), std::string(512, 'r'));
  nvpol_enumCondition(rule_, 2, &pair, &status_);
  EXPECT_EQ(status_, NVREG_END_OF_LIST);
  EXPECT_THAT(values("policy\\Rule\\Mail"),
              ElementsAre("condition1=" + std::string(600, 's') + ";" + std::string(600, 'r'),
                          "condition2="));

  close(nvreg_createKey(rule_, "rules\\A\\rules\\B", &status_));
  for (char const* name : {"A\\B", "\\A\\B", "\\\\A\\\\B\\", "\\", ""}) {
    Handle found = nvpol_openRuleByFullName(key_, name, &status_);
    EXPECT_EQ(status_, NVREG_OK) << name;
    EXPECT_EQ(names(nvpol_enumRule, found).size(), strlen(name) > 1 ? 0 : 1) << name;
    close(found);
  }
  EXPECT_EQ(nvpol_openRuleByFullName(key_, "\\A\\C", &status_), nullptr);
  EXPECT_EQ(status_, NVREG_NOT_FOUND);
}

TEST_F(PolicyLibrary, TellsTheLengthOfWhatDoesNotFit) {
  _NvPolAddrListAttr const attr = {"d", "", 0, 0};
  Handle list = nvpol_createAddrList(key_, "l", &attr, &status_);
  nvpol_insertAddress(list, std::string(5000, 'a').c_str(), &status_);
  nvpol_insertAddress(list, "b\\@;%s\n", &status_);
  nvpol_insertAddress(list, "", &status_);
  EXPECT_EQ(status_, NVREG_BAD_NAME);
  char buffer[6] = "older";
  for (uint32_t capacity : {0u, 6u}) {
    uint32_t length = capacity;
    nvpol_enumAddress(list, 0, buffer, &length, &status_);
    EXPECT_EQ(status_, NVREG_BUFFER_TOO_SMALL);
    EXPECT_EQ(length, 5000u);
    EXPECT_STREQ(buffer, "older");
  }
  EXPECT_THAT(names(nvpol_enumAddress, list), ElementsAre(std::string(5000, 'a'), "b\\@;%s\n"));
  close(list);
  Handle task = nvreg_createKey(rule_, "tasks\\t", &status_);
  nvpol_addOutcome(task, "name", "value", &status_);
  uint32_t name_length = 5;
  uint32_t value_length = 5;
  nvpol_enumOutcome(task, 0, buffer, &name_length, buffer, &value_length, &status_);
  EXPECT_EQ(status_, NVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(name_length, 4u);
  EXPECT_EQ(value_length, 5u);
  EXPECT_STREQ(buffer, "older");
  close(task);
}

TEST_F(PolicyLibrary, FindsReferencesInATreeOfAnyDepth) {
  std::string path;
  for (int depth = 0; depth < 1000; ++depth) path += "rules\\deep\\";
  Handle bottom = nvreg_createKey(rule_, (path + "rules\\bottom").c_str(), &status_);
  ASSERT_EQ(status_, NVREG_OK);
  Handle outcomes = nvreg_createKey(bottom, "tasks\\t\\Classification", &status_);
  set(outcomes, "Passed", "Keep");
  set(bottom, "condition1", "*;Staff");
  std::string const long_name(200, 'n');
  Handle sibling = nvreg_createKey(rule_, ("rules\\" + long_name).c_str(), &status_);
  set(sibling, "condition1", "Guests;*");

  struct Search {
    int32_t kind;
    char const* name;
    std::string rule;  // empty: none refers
  };
  Search const searches[] = {{1, "Keep", "bottom"},
                             {1, "Passed", ""},
                             {1, "Staff", ""},
                             {2, "Staff", "bottom"},
                             {2, "Guests", long_name.substr(0, 127)},
                             {2, "Keep", ""},
                             {2, "Staf", ""}};
  for (Search const& search : searches) {
    char name[128] = {};
    uint32_t length = sizeof name;
    int32_t found = nvpol_checkReferInRule(key_, search.kind, search.name, name, &length, &status_);
    EXPECT_EQ(status_, NVREG_OK);
    EXPECT_EQ(found, search.rule.empty() ? 0 : 1) << search.name;
    EXPECT_EQ(std::string(name), search.rule);
    EXPECT_EQ(length, found ? search.rule.size() : sizeof name);
  }
  set(rule_, "condition1", "Staff;*");
  char name[128] = {};
  uint32_t length = sizeof name;
  EXPECT_EQ(nvpol_checkReferInRule(key_, 2, "Staff", name, &length, &status_), 1);
  EXPECT_STREQ(name, "Mail") << "the root rule comes first";
  nvpol_checkReferInRule(key_, 3, "Staff", name, &length, &status_);
  EXPECT_EQ(status_, NVREG_BAD_ARGUMENT);
  for (Handle key : {outcomes, bottom, sibling}) close(key);
}

TEST_F(PolicyLibrary, ImportsAWholeFileOfAddressesOrNothing) {
  struct File {
    std::string content;
    int32_t status;
    Texts addresses;
  };
  File const files[] = {
      {"a@x\r\nb@x,\"c@x\" , d@x\n\n,,", NVREG_OK, {"a@x", "b@x", "c@x", "d@x"}},
      {"", NVREG_OK, {}},
      {"j\xc3\xb6rg@x", NVREG_OK, {"j\xc3\xb6rg@x"}},
      {"a@x\nAddress\n", NVPOL_BAD_FORMAT, {}},
      {"a@x\n@x\n", NVPOL_BAD_FORMAT, {}},
      {"a@x\nb@\n", NVPOL_BAD_FORMAT, {}},
      {"\"a@x\nb@x\"\n", NVPOL_BAD_FORMAT, {}},
      {std::string("a@x\0", 4), NVPOL_BAD_FORMAT, {}},
  };
  _NvPolAddrListAttr attr = {"d", "", 0, 0};
  for (File const& file : files) {
    std::string const path = home_.path() + "/addresses.csv";
    std::ofstream(path, std::ios::binary) << file.content;
    Handle list = nvpol_createAddrList(key_, "l", &attr, &status_);
    nvpol_importAddress(list, path.c_str(), &status_);
    EXPECT_EQ(status_, file.status) << file.content;
    EXPECT_EQ(names(nvpol_enumAddress, list), file.addresses) << file.content;
    nvpol_getAddrListAttrib(list, &attr, &status_);
    EXPECT_EQ(attr.addressCount, file.addresses.size());
    for (char const* unreadable : {"/nonexistent", "/tmp"}) {
      nvpol_importAddress(list, unreadable, &status_);
      EXPECT_EQ(status_, NVREG_NOT_FOUND);
    }
    close(list);
    nvpol_deleteAddrList(key_, "l", &status_);
  }
}

}  // namespace
