// The policy registry against a real server. Failures are real where they can be had: a missing
// key, a server that is gone.

#include "policy_store.h"

using testing::ElementsAre;

namespace {

class NvPoRegistryTest : public PolicyStoreTest {
 protected:
  int set_bytes(char const* name, _NvRegDataType type, std::string const& bytes) {
    return registry_.nvsetvalue(kPolicy.c_str(), name, type,
                                reinterpret_cast<unsigned char const*>(bytes.data()),
                                static_cast<int>(bytes.size()));
  }
};

Nvregentry list_entry(_NvRegDataType type, Texts const& texts) {
  Nvregentry entry;
  entry.setvalue(type, texts);
  return entry;
}

std::string query_failed(std::string const& key, char const* value, int32_t status) {
  return message("REG_FAIL4", "nvreg_queryValue", key, value, status);
}

// Of a text 2048 bytes are stored, its terminator among them where it fits; reading takes the last
// one for the terminator. Of a list the texts before the first that does not fit are stored.
TEST_F(NvPoRegistryTest, StoresAndReadsEveryTypeWithinTheBuffer) {
  std::string const most(2047, 'x'), half(1500, 'y'), whole(2046, 'y');
  struct {
    Nvregentry entry;
    int stored;  // bytes
    std::string line;
  } const rows[] = {
      {{"d", NVREG_DWORD, 0xfffffffful}, 4, "d=DW 4294967295\n"},
      {{"s", NVREG_STRING, std::string("t\xe4xt")}, 5, "s=SZ t\xe4xt\n"},
      {{"", NVREG_STRING, std::string()}, 1, "=SZ \n"},
      {{"s", NVREG_STRING, most}, 2048, "s=SZ " + most + "\n"},
      {{"s", NVREG_STRING, most + "x"}, 2048, "s=SZ " + most + "\n"},
      {list_entry(NVREG_MULTISTRING, {"a", "bc"}), 6, "=MS a, bc, \n"},
      {list_entry(NVREG_MULTISTRING, {whole}), 2048, "=MS " + whole + ", \n"},
      {list_entry(NVREG_MULTISTRING, {whole + "y"}), 2048, "=MS \n"},
      {list_entry(NVREG_MULTISTRING, {"a", half, half, "z"}), 2048, "=MS a, " + half + ", \n"},
      {list_entry(NVREG_BINARY, {"10", "ff", "1f"}), 3, "=BI 0a 00 01 \n"}};
  for (auto const& [entry, stored, line] : rows) {
    EXPECT_EQ(registry_.nvsetentry(kPolicy, entry), 0) << registry_.geterror();
    unsigned char data[4096];
    int length = sizeof data;
    _NvRegDataType type;
    EXPECT_EQ(registry_.nvgetvalue(kPolicy.c_str(), entry.getname().c_str(), type, data, length),
              0);
    EXPECT_EQ(length, stored) << line;
    Nvregentry read;
    EXPECT_EQ(registry_.nvgetentry(kPolicy, entry.getname(), read), 0) << registry_.geterror();
    std::string read_line;
    read.getregentrystring("", read_line);
    EXPECT_EQ(read_line, "    " + line);
  }
  Nvregentry const bytes = list_entry(NVREG_BINARY, Texts(2049, "07"));
  EXPECT_EQ(registry_.nvsetentry(kPolicy, bytes), 0) << "binary values have no cut";
}

TEST_F(NvPoRegistryTest, ReadsRawValuesThatNothingTerminates) {
  std::string const bytes(2049, 'z');
  ASSERT_EQ(set_bytes("s", NVREG_STRING, bytes), 0);
  ASSERT_EQ(set_bytes("m", NVREG_MULTISTRING, bytes), 0);
  EXPECT_EQ(dump(kPolicy),
            "test\n    string,   s=" + bytes.substr(1) + "\n    multisize,  m=" + bytes + ";  \n");

  ASSERT_EQ(set_bytes("long", NVREG_STRING, bytes + "!"), 0);
  Nvregentry entry;
  std::vector<Nvregentry> entries;
  Failure const failures[] = {{DOING(registry_.nvgetentry(kPolicy, "long", entry)),
                               query_failed(kPolicy, "long", NVREG_BUFFER_TOO_SMALL)},
                              {DOING(registry_.nvgetallentry(kPolicy, entries)),
                               fail2("nvreg_enumAddress", NVREG_BUFFER_TOO_SMALL)}};
  expect_failures(registry_, failures);
}

TEST_F(NvPoRegistryTest, OpensByPathAndCreatesWhatIsMissing) {
  Handle root = nullptr;
  ASSERT_EQ(registry_.nvregopenkey("", root), 0);
  Handle key = root;
  EXPECT_EQ(registry_.nvregopenkey(key, ""), 0);
  EXPECT_EQ(key, root);
  OpenKey made(registry_, "test\\\\new");
  OpenKey below(registry_, made.get(), "below");
  OpenKey same(registry_, made.get(), "");
  EXPECT_TRUE(made && below && same.get() == made.get());
  Texts names;
  EXPECT_EQ(registry_.nvgetallentryname("test\\new", names), 0);
  EXPECT_THAT(names, ElementsAre("below"));
  EXPECT_EQ(registry_.nvregclosekey(root), 0);  // stays usable
  EXPECT_EQ(registry_.nvgetallentryname("", names), 0);
}

TEST_F(NvPoRegistryTest, StoresAndListsEntriesInOrder) {
  std::vector<Nvregentry> entries{{"z", NVREG_DWORD, 1ul},
                                  {"a", NVREG_STRING, std::string("x")},
                                  {"bad", static_cast<_NvRegDataType>(kUnknownType), 1ul},
                                  {"c", NVREG_DWORD, 1ul}};
  Texts names;
  Failure const failures[] = {
      {DOING(registry_.nvsetallentry(kPolicy, entries)),
       message("REG_FAIL1", "nvsetvalue type error at ", "bad")},
      {DOING(registry_.nvgetallentryname(kPolicy, names)), empty("The task name")}};
  expect_failures(registry_, failures);
  EXPECT_EQ(dump(kPolicy), "test\n    dword,   z=1\n    string,   a=x\n");

  entries.clear();
  Failing const unknown("nvreg_enumValue");
  EXPECT_EQ(registry_.nvgetallentry(kPolicy, entries), 0);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].getname() + entries[1].getname(), "za");
  EXPECT_EQ(entries[0].gettype(), kUnknownType);
  EXPECT_EQ(registry_.geterror(), message("REG_FAIL1", "nvreg_enumValue get type error at ", "z"));
}

TEST_F(NvPoRegistryTest, DeletesAndDumpsValuesAndKeys) {
  EXPECT_EQ(registry_.setsimpleattr(kPolicy, "v", NVREG_DWORD, "1"), 0);
  EXPECT_EQ(registry_.nvregdeletevalue(kPolicy, "v"), 0);
  OpenKey parent(registry_, "registry");
  EXPECT_EQ(registry_.nvregdeletekey(parent.get(), "test"), 0);
  set(kPolicy + "\\a\\deep", "s", "x");
  set(kPolicy, "s", "y");
  EXPECT_EQ(dump(kPolicy), "test\n    string,   s=y\ntest\\a\ntest\\a\\deep\n    string,   s=x\n");
  OpenKey key(registry_, kPolicy);
  testing::internal::CaptureStdout();
  EXPECT_EQ(registry_.enumAttr(key.get(), "s"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "    string,   s=y\n");
  Failure const failures[] = {
      {DOING(registry_.nvregdeletevalue(kPolicy, "v")), fail("nvreg_deleteValue", "v", kGone)},
      {DOING(registry_.nvregdeletevalue("none", "v")), fail("nvreg_openkey", "none", kGone)},
      {DOING(registry_.nvregdeletekey(parent.get(), "none")),
       fail("nvreg_deleteKey", "none", kGone)}};
  expect_failures(registry_, failures);
}

TEST_F(NvPoRegistryTest, KeepsSimpleAttributesAsText) {
  EXPECT_EQ(registry_.setsimpleattrs(kPolicy, NVREG_DWORD, {{"a", "1"}, {"b", "4294967295"}}), 0);
  EXPECT_EQ(registry_.setsimpleattr(kPolicy, "s", NVREG_STRING, "text"), 0);
  std::map<std::string, std::string> numbers{{"a", ""}, {"b", ""}, {"s", "kept"}}, text{{"s", ""}};
  EXPECT_EQ(registry_.getsimpleattrs(kPolicy, NVREG_DWORD, numbers), -1);
  EXPECT_EQ(numbers["a"] + numbers["b"] + numbers["s"], "14294967295kept");
  EXPECT_EQ(registry_.getsimpleattrs(kPolicy, NVREG_STRING, text), 0);
  EXPECT_EQ(text["s"], "text");
  for (char const* number : {"", "4294967296", "-1", "1x"})
    EXPECT_EQ(registry_.setsimpleattr(kPolicy, "a", NVREG_DWORD, number), -1) << number;
  EXPECT_EQ(registry_.setsimpleattr(kPolicy, "a", NVREG_BINARY, "0a"), -1);
}

TEST_F(NvPoRegistryTest, SaysSoWhenTheServerIsGone) {
  OpenKey key(registry_, kPolicy);
  home_.kill();
  Nvregentry entry("v", NVREG_DWORD, 1ul);
  Handle other = nullptr, root = nullptr, again = nullptr;
  Texts names;
  NvPoRegistry& r = registry_;
  int32_t const gone = NVREG_NO_SERVER;
  Failure const failures[] = {
      {DOING(r.nvregopenkey("a", other)), fail("nvreg_createKey", "a", gone)},
      {DOING(r.getentry(key.get(), "v", entry)), query_failed("hdl", "v", gone)},
      {DOING(r.nvgetallentryname(key.get(), names)), fail2("nvreg_enumSubkey", gone)},
      {DOING(r.nvregclosekey(nullptr)), fail2("nvreg_closeKey", NVREG_BAD_ARGUMENT)},
      {DOING(r.nvregrefresh()), fail2("nvreg_refresh", gone)},
      {DOING(r.closeregfile()), fail2("nvreg_close", gone)}};
  EXPECT_EQ(r.nvregopenkey("", root) + r.nvregopenkey("", again), 0);
  EXPECT_TRUE(root != nullptr && root == again);
  expect_failures(r, failures);
  EXPECT_EQ(entry.geterror(), query_failed("hdl", "v", gone));
  EXPECT_EQ(entry.geterror(), "");
}

TEST_F(NvPoRegistryTest, FailsEveryCallAfterAFailedOpen) {
  home_.stop();
  NvPoRegistry r(home_.address());
  EXPECT_EQ(r.geterror(), fail("nvreg_open", home_.address(), NVREG_NO_SERVER));
  Nvregentry entry("v", NVREG_DWORD, 1ul);
  Handle key = nullptr;
  Failure const failures[] = {{DOING(r.nvregopenkey("", key)), empty("polreg.root")},
                              {DOING(r.nvregrefresh()), empty("polreg.registry")}};
  expect_failures(r, failures);
  home_.start();
  r.setfilename(home_.address());
  EXPECT_TRUE(r.nvregopen());
  EXPECT_EQ(r.nvsetentry("a", entry), 0);
  EXPECT_EQ(r.nvregrefresh(), 0);
  EXPECT_EQ(r.closeregfile(), 0);
}

}  // namespace
