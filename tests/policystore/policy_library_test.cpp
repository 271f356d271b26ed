// The bundled policy library where its wrappers do not reach: what lies where in the store, records
// and buffers at their bounds, names and handles that are none.

#include <string.h>

#include "nvaddresslist.h"
#include "nvclassification.h"
#include "nvrulehive.h"
#include "policy_store.h"

namespace {

// A root rule to work in, and a key for the hives.
class PolicyLibrary : public PolicyStoreTest {
 protected:
  void close(Handle key) {
    nvreg_closeKey(key, &status_);
    EXPECT_EQ(status_, NVREG_OK);
  }

  OpenKey key_{registry_, kPolicy};
  OpenKey rule_{registry_, kPolicy + "\\Rule\\Mail"};
  int32_t status_ = 0;
};

TEST_F(PolicyLibrary, WritesObjectsWhereTheImportersDo) {
  NvClassification classes(kPolicy, home_.address());
  Handle group = classes.createclass("Spam", "Shown", "Why");
  nvpol_closeAction(classes.createaction(group, "Keep", {"", "Act", "c", 2, 0x10003, -1}),
                    &status_);
  EXPECT_EQ(classes.closeclass(group), 0);

  NvRuleHive rules(kPolicy, home_.address());
  Handle sales = nullptr;
  EXPECT_EQ(rules.createRule(sales, "\\", "Sales", "", "", Texts{"*", "x", ""},
                             Texts{"Staff", "y", "a;b"}),
            0);
  EXPECT_EQ(rules.RemoveCondition(sales, "x", "y"), 0);
  EXPECT_EQ(rules.SetRuleAttrib(sales, {"Sales", "floor 2", 3, 0x80000001u}), 0);
  EXPECT_EQ(rules.createTask(sales, "AV", "", "", 0), 0);
  EXPECT_EQ(rules.SetTaskAttrib(sales, "AV", {"Virus", "c", 1, 0x10001, 1, 0, 99}), 0);
  for (auto const& [name, value] :
       {std::pair("Joke", "Delete"), {"Worm", "Keep"}, {"Joke", "Spam"}})
    EXPECT_EQ(rules.addoutcome(sales, "AV", name, value), 0);
  for (char const* task : {"Inherited", "Inherited", "AV"})
    EXPECT_EQ(rules.inactivetask(sales, task, true), 0);
  EXPECT_EQ(rules.closeRule(sales), 0);

  NvAddresslist lists(kPolicy, home_.address());
  EXPECT_EQ(lists.createaddrlist("Staff", {"Staff", "all", 0, 77}), 0);
  EXPECT_EQ(lists.setaddress("Staff", Texts{"a@x", "b\\@;%s", "a@x"}), 0);

  EXPECT_EQ(dump(kPolicy), R"(test
test\Rule
test\Rule\Mail
test\Rule\Mail\rules
test\Rule\Mail\rules\Sales
    string,   comment=floor 2
    string,   displayName=Sales
    dword,   order=3
    dword,   matchType=2147483649
    string,   condition1=*;Staff
    string,   condition2=;a;b
test\Rule\Mail\rules\Sales\tasks
test\Rule\Mail\rules\Sales\tasks\AV
    dword,   order=1
    dword,   filter=65537
    dword,   enable=1
    dword,   overridable=0
    string,   comment=c
    string,   displayName=Virus
test\Rule\Mail\rules\Sales\tasks\AV\Classification
    string,   Joke=Spam
    string,   Worm=Keep
test\Rule\Mail\rules\Sales\inactive
    string,   inactive1=Inherited
    string,   inactive2=AV
test\Classification
test\Classification\Spam
    string,   displayName=Shown
    string,   comment=Why
test\Classification\Spam\actions
test\Classification\Spam\actions\Keep
    dword,   order=2
    string,   comment=c
    string,   displayName=Act
    dword,   actionType=65539
    dword,   extra=4294967295
test\AddressList
test\AddressList\Staff
    string,   displayName=Staff
    string,   comment=all
    dword,   order=0
    string,   address1=a@x
    string,   address2=b\@;%s
    string,   address3=a@x
)");
}

TEST_F(PolicyLibrary, RefusesNulls) {
  _NvPolTaskAttr const attr{};
  std::function<void()> const calls[] = {
      [&] { nvpol_createTask(nullptr, "t", &attr, &status_); },
      [&] { nvpol_createTask(rule_.get(), nullptr, &attr, &status_); },
      [&] { nvpol_createTask(rule_.get(), "t", nullptr, &status_); },
      [&] { nvpol_openTask(rule_.get(), nullptr, &status_); },
      [&] { nvpol_deleteTask(rule_.get(), nullptr, &status_); },
      [&] { nvpol_addCondition(rule_.get(), nullptr, &status_); },
      [&] { nvpol_openRuleByFullName(key_.get(), nullptr, &status_); },
      [&] { nvpol_checkReferInRule(key_.get(), 3, "t", nullptr, nullptr, &status_); }};
  for (auto const& call : calls) {
    status_ = 0;
    call();
    EXPECT_EQ(status_, NVREG_BAD_ARGUMENT) << "call " << &call - calls;
  }
  EXPECT_EQ(nvpol_openTask(rule_.get(), "t", &status_), nullptr) << "half a task";
}

TEST_F(PolicyLibrary, MovesItemsForwardWhenOneIsDeleted) {
  NvRuleHive rules(kPolicy, home_.address());
  for (char const* name : {"t0", "t1", "t2", "t3"})
    EXPECT_EQ(rules.createTask("\\", name, "", "", 0), 0);
  for (uint32_t index : {0u, 1u}) {
    char name[NVPOL_NAME_SIZE];
    uint32_t length = sizeof name;
    nvpol_enumTask(rule_.get(), index, name, &length, &status_);
    nvpol_deleteTask(rule_.get(), name, &status_);
  }
  Texts left;
  EXPECT_EQ(rules.GetAllTaskName("\\", left), 0);
  EXPECT_THAT(left, testing::ElementsAre("t1", "t3"));
}

TEST_F(PolicyLibrary, ReadsRecordsWithinTheirBounds) {
  // On the heap and exactly as large as the record, so that a sanitizer sees any byte beyond it.
  auto full = std::make_unique<_NvPolCommAttrib>();
  memset(full.get(), 'f', sizeof *full);
  Handle group = nvpol_createClassification(key_.get(), "full", full.get(), &status_);
  auto read = std::make_unique<_NvPolCommAttrib>();
  nvpol_getClassificationAttrib(group, read.get(), &status_);
  EXPECT_EQ(memcmp(read.get(), full.get(), sizeof *full), 0);

  // As others may have stored them: too long, of another type, without a terminator, missing.
  struct {
    std::string shown;
    _NvRegDataType type;
    std::string comment;
    std::string read_shown, read_comment;
  } const rows[] = {{std::string(3000, 'x'), NVREG_DWORD, "1234", std::string(256, 'x'), ""},
                    {"open end", NVREG_STRING, std::string("a\0b", 3), "open end", "a"}};
  auto store = [&](Handle key, char const* name, _NvRegDataType type, std::string const& data) {
    nvreg_setValue(key, name, type, reinterpret_cast<unsigned char const*>(data.data()),
                   static_cast<uint32_t>(data.size()), &status_);
    EXPECT_EQ(status_, NVREG_OK);
  };
  for (auto const& row : rows) {
    store(group, "displayName", NVREG_STRING, row.shown);
    store(group, "comment", row.type, row.comment);
    nvpol_getClassificationAttrib(group, read.get(), &status_);
    EXPECT_EQ(zeva::field_text(read->displayName), row.read_shown);
    EXPECT_EQ(zeva::field_text(read->comment), row.read_comment);
  }
  close(group);
  _NvPolRuleAttr rule;
  store(rule_.get(), "order", NVREG_BINARY, "12345678");
  nvpol_getRuleAttrib(rule_.get(), &rule, &status_);
  EXPECT_EQ(status_, NVREG_OK);
  EXPECT_EQ(rule.order, 0);
  EXPECT_EQ(rule.displayName[0], '\0');
}

TEST_F(PolicyLibrary, TellsTheLengthsOfAnOutcomeThatDoesNotFit) {
  Handle task = nvreg_createKey(rule_.get(), "tasks\\t", &status_);
  nvpol_addOutcome(task, "name", "value", &status_);
  char name[] = "old name", value[] = "old value";
  // Each buffer in turn is too small, for the terminator alone.
  for (auto [name_length, value_length] : {std::pair{4u, 6u}, {5u, 5u}}) {
    nvpol_enumOutcome(task, 0, name, &name_length, value, &value_length, &status_);
    EXPECT_EQ(status_, NVREG_BUFFER_TOO_SMALL);
    EXPECT_EQ(name_length, 4u);
    EXPECT_EQ(value_length, 5u);
  }
  uint32_t length = 5;
  nvpol_getOutcome(task, "name", value, &length, &status_);
  EXPECT_EQ(status_, NVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(length, 5u);
  EXPECT_STREQ(name, "old name");
  EXPECT_STREQ(value, "old value");
  close(task);
}

}  // namespace
