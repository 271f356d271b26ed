// The bundled policy library where its wrappers do not reach: records and buffers at
// their bounds, texts and handles that are none.

#include "nvaddresslist.h"
#include "nvpol.h"
#include "policy_store.h"
#include "textfield.h"

#include <string.h>

#include <atomic>
#include <barrier>
#include <set>
#include <thread>

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
    EXPECT_EQ(zeva::read_field(read->displayName), row.read_shown);
    EXPECT_EQ(zeva::read_field(read->comment), row.read_comment);
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

// However their calls fall between each other's: none is written over, and no gap ends the list.
TEST_F(PolicyLibrary, TwoWhoLengthenAListLoseNoAddress) {
  constexpr size_t kEach = 500;
  _NvPolAddrListAttr const attributes = {};
  close(nvpol_createAddrList(key_.get(), "l", &attributes, &status_));
  auto const lengthen = [this](std::string const& host) {
    NvPoRegistry own(home_.address());
    OpenKey list(own, kPolicy + "\\AddressList\\l");
    int32_t status = NVREG_OK;
    for (size_t i = 0; i < kEach && status == NVREG_OK; ++i)
      nvpol_insertAddress(list.get(), (std::to_string(i) + host).c_str(), &status);
    EXPECT_EQ(status, NVREG_OK);
  };
  std::thread other(lengthen, "@a.example");
  lengthen("@b.example");
  other.join();
  Texts addresses;
  EXPECT_EQ(NvAddresslist(kPolicy, home_.address()).getaddress("l", addresses), 0);
  EXPECT_EQ(std::set(addresses.begin(), addresses.end()).size(), 2 * kEach);
  EXPECT_EQ(addresses.size(), 2 * kEach);
}

TEST_F(PolicyLibrary, OneOfTwoMakesAnObject) {
  constexpr int kObjects = 300;
  std::atomic<int> made = 0;
  std::barrier both(2);
  auto const make = [&] {
    NvPoRegistry own(home_.address());
    OpenKey hive(own, kPolicy);
    _NvPolAddrListAttr const attributes = {};
    for (int i = 0; i < kObjects; ++i) {
      int32_t status;
      both.arrive_and_wait();
      Handle list =
          nvpol_createAddrList(hive.get(), std::to_string(i).c_str(), &attributes, &status);
      EXPECT_EQ(status, list ? NVREG_OK : NVREG_EXISTS);
      if (!list) continue;
      ++made;
      nvpol_closeAddrList(list, &status);
    }
  };
  std::thread other(make);
  make();
  other.join();
  EXPECT_EQ(made, kObjects);
}

}  // namespace
