// The policy registry against a real server. Failures are real where they can be had: a missing
// key, a server that is gone.

#include "nvporegistry.h"

#include <gmock/gmock.h>
#include <unicode/uloc.h>

#include <functional>
#include <memory>

#include "openkey.h"
#include "scratch_home.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

namespace {

int open_keys;
int32_t close_status;      // what closing a key answers
_NvRegDataType enum_type;  // what the enumeration of values calls a number

}  // namespace

// Visible, because the linker takes the calls of libnvpol for wrapped ones too; they are not.
#pragma GCC visibility push(default)
extern "C" {
_NvPolComHandle* __real_nvreg_openKey(_NvPolComHandle*, char const*, int32_t*);
_NvPolComHandle* __real_nvreg_createKey(_NvPolComHandle*, char const*, int32_t*);
void __real_nvreg_closeKey(_NvPolComHandle*, int32_t*);
void __real_nvreg_enumValue(_NvPolComHandle*, uint32_t, char*, uint32_t*, _NvRegDataType*,
                            unsigned char*, uint32_t*, int32_t*);

_NvPolComHandle* __wrap_nvreg_openKey(_NvPolComHandle* parent, char const* path, int32_t* status) {
  _NvPolComHandle* key = __real_nvreg_openKey(parent, path, status);
  open_keys += key != nullptr;
  return key;
}
_NvPolComHandle* __wrap_nvreg_createKey(_NvPolComHandle* parent, char const* path,
                                        int32_t* status) {
  _NvPolComHandle* key = __real_nvreg_createKey(parent, path, status);
  open_keys += key != nullptr;
  return key;
}
void __wrap_nvreg_closeKey(_NvPolComHandle* key, int32_t* status) {
  __real_nvreg_closeKey(key, status);
  --open_keys;
  if (close_status != 0) *status = close_status;
}
void __wrap_nvreg_enumValue(_NvPolComHandle* key, uint32_t index, char* name, uint32_t* name_length,
                            _NvRegDataType* type, unsigned char* data, uint32_t* length,
                            int32_t* status) {
  __real_nvreg_enumValue(key, index, name, name_length, type, data, length, status);
  if (*type == NVREG_DWORD) *type = enum_type;
}
}
#pragma GCC visibility pop

namespace {

class NvPoRegistryTest : public testing::Test {
 protected:
  NvPoRegistryTest() {
    UErrorCode status = U_ZERO_ERROR;
    uloc_setDefault("en_US", &status);
    home_.start();
    registry_ = std::make_unique<NvPoRegistry>(home_.address());
    open_keys = close_status = 0;
    enum_type = NVREG_DWORD;
  }
  ~NvPoRegistryTest() override { EXPECT_EQ(open_keys, 0) << "keys left open"; }

  Nvregentry stored(std::string const& name) {
    Nvregentry entry;
    EXPECT_EQ(registry_->nvgetentry("test", name, entry), 0) << registry_->geterror();
    return entry;
  }
  // Stores an entry and reads it back as its log line.
  std::string back(Nvregentry const& entry) {
    EXPECT_EQ(registry_->nvsetentry("test", entry), 0) << registry_->geterror();
    std::string line;
    stored(entry.getname()).getregentrystring("", line);
    return line.substr(4);
  }

  ScratchHome home_;
  std::unique_ptr<NvPoRegistry> registry_;
};

Nvregentry list_entry(std::string const& name, _NvRegDataType type, Texts const& texts) {
  Nvregentry entry;
  entry.setname(name);
  entry.setvalue(type, texts);
  return entry;
}

}  // namespace

TEST_F(NvPoRegistryTest, StoresAndReadsEveryType) {
  EXPECT_EQ(back({"d", NVREG_DWORD, 0xfffffffful}), "d=DW 4294967295\n");
  EXPECT_EQ(back({"s", NVREG_STRING, std::string("t\xe4xt")}), "s=SZ t\xe4xt\n");
  EXPECT_EQ(back({"", NVREG_STRING, std::string()}), "=SZ \n");
  EXPECT_EQ(back(list_entry("m", NVREG_MULTISTRING, {"a", "bc"})), "m=MS a, bc, \n");
  EXPECT_EQ(back(list_entry("e", NVREG_MULTISTRING, {})), "e=MS \n");
  EXPECT_EQ(back(list_entry("b", NVREG_BINARY, {"10", "ff", "1f"})), "b=BI 0a 00 01 \n");
}

TEST_F(NvPoRegistryTest, CutsWhatDoesNotFitTheBuffer) {
  EXPECT_EQ(back({"s", NVREG_STRING, std::string(2047, 'x')}),
            "s=SZ " + std::string(2047, 'x') + "\n");
  // 2048 bytes are stored, without a terminator; reading gives up the last one for it.
  EXPECT_EQ(back({"s", NVREG_STRING, std::string(5000, 'x')}),
            "s=SZ " + std::string(2047, 'x') + "\n");
  std::string const half(1500, 'y');
  EXPECT_EQ(back(list_entry("m", NVREG_MULTISTRING, {"a", half, half, "z"})),
            "m=MS a, " + half + ", \n");
  unsigned char data[4096];
  int length = sizeof data;
  _NvRegDataType type;
  ASSERT_EQ(registry_->nvgetvalue("test", "m", type, data, length), 0);
  EXPECT_EQ(length, 2048);
  EXPECT_EQ(std::string(data + 1503, data + 2048), std::string(2048 - 1503, '\0'));
  EXPECT_EQ(back(list_entry("b", NVREG_BINARY, Texts(2049, "07"))).size(), 5u + 3 * 2049 + 1);
}

TEST_F(NvPoRegistryTest, ReadsRawValuesThatNothingTerminates) {
  std::string const bytes(2049, 'z');
  auto data = reinterpret_cast<unsigned char const*>(bytes.data());
  for (_NvRegDataType type : {NVREG_STRING, NVREG_MULTISTRING})
    ASSERT_EQ(registry_->nvsetvalue("test", type == NVREG_STRING ? "s" : "m", type, data, 2049), 0);
  std::string text;
  Texts list;
  stored("s").getvalue(text);
  stored("m").getvalue(list);
  EXPECT_EQ(text, bytes.substr(1));
  EXPECT_THAT(list, ElementsAre(bytes));

  std::vector<Nvregentry> entries;
  EXPECT_EQ(registry_->nvgetallentry("test", entries), 0);
  EXPECT_EQ(entries.size(), 2u);
  ASSERT_EQ(
      registry_->nvsetvalue("test", "long", NVREG_STRING,
                            reinterpret_cast<unsigned char const*>((bytes + "!").data()), 2050),
      0);
  Nvregentry entry;
  EXPECT_EQ(registry_->nvgetentry("test", "long", entry), -1);
  EXPECT_EQ(
      registry_->geterror(),
      "The call nvreg_queryValue failed on the value \"long\" of the key \"test\" with status "
      "0x81020004. ");
  EXPECT_EQ(registry_->nvgetallentry("test", entries), -1);
  EXPECT_THAT(registry_->geterror(), HasSubstr("nvreg_enumAddress failed with status 0x81020004"));
}

TEST_F(NvPoRegistryTest, OpensByPathAndCreatesWhatIsMissing) {
  _NvPolComHandle* root = nullptr;
  ASSERT_EQ(registry_->nvregopenkey("", root), 0);
  EXPECT_EQ(open_keys, 0);
  _NvPolComHandle* key = root;
  EXPECT_EQ(registry_->nvregopenkey(key, ""), 0);
  EXPECT_EQ(key, root);
  {
    OpenKey made(*registry_, "test\\\\new");
    OpenKey below(*registry_, made.get(), "below");
    OpenKey same(*registry_, made.get(), "");
    EXPECT_TRUE(made && below && same.get() == made.get());
    EXPECT_EQ(open_keys, 2);
  }
  Texts names;
  EXPECT_EQ(registry_->nvgetallentryname("test\\new", names), 0);
  EXPECT_THAT(names, ElementsAre("below"));
  EXPECT_EQ(registry_->nvregclosekey(root), 0);  // stays usable
  EXPECT_EQ(registry_->nvgetallentryname("", names), 0);
}

TEST_F(NvPoRegistryTest, EnumeratesNamesAndEntriesInOrder) {
  std::vector<Nvregentry> entries{{"z", NVREG_DWORD, 1ul}, {"a", NVREG_STRING, std::string("x")}};
  ASSERT_EQ(registry_->nvsetallentry("test\\k", entries), 0);
  entries.clear();
  EXPECT_EQ(registry_->nvgetallentry("test\\k", entries), 0);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].getname() + entries[1].getname(), "za");

  Texts names;
  EXPECT_EQ(registry_->nvgetallentryname("test\\k", names), -1);
  EXPECT_THAT(registry_->geterror(), HasSubstr("The task name"));
  entries.clear();
  EXPECT_EQ(registry_->nvgetallentry("test", entries), 0);
  EXPECT_THAT(entries, IsEmpty());

  enum_type = static_cast<_NvRegDataType>(7);
  EXPECT_EQ(registry_->nvgetallentry("test\\k", entries), 0);
  EXPECT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].gettype(), enum_type);
  EXPECT_THAT(registry_->geterror(), HasSubstr("nvreg_enumValue get type error at \"z\""));
}

TEST_F(NvPoRegistryTest, StopsStoringAtTheFirstEntryThatFails) {
  std::vector<Nvregentry> entries{{"a", NVREG_DWORD, 1ul},
                                  {"bad", static_cast<_NvRegDataType>(7), 1ul},
                                  {"c", NVREG_DWORD, 1ul}};
  EXPECT_EQ(registry_->nvsetallentry("test", entries), -1);
  EXPECT_EQ(registry_->geterror(),
            "Unknown or unfitting value type: nvsetvalue type error at \"bad\". ");
  entries.clear();
  EXPECT_EQ(registry_->nvgetallentry("test", entries), 0);
  EXPECT_EQ(entries.size(), 1u);
}

TEST_F(NvPoRegistryTest, DeletesValuesAndKeys) {
  back({"v", NVREG_DWORD, 1ul});
  EXPECT_EQ(registry_->nvregdeletevalue("test", "v"), 0);
  EXPECT_EQ(registry_->nvregdeletevalue("test", "v"), -1);
  EXPECT_EQ(registry_->geterror(),
            "The call nvreg_deleteValue failed on \"v\" with status 0x81020003. ");
  EXPECT_EQ(registry_->nvregdeletevalue("test\\none", "v"), -1);
  EXPECT_THAT(registry_->geterror(), HasSubstr("nvreg_openkey failed on \"test\\none\""));
  _NvPolComHandle* root = nullptr;
  registry_->nvregopenkey("", root);
  EXPECT_EQ(registry_->nvregdeletekey(root, "test"), 0);
  EXPECT_EQ(registry_->nvregdeletekey(root, "test"), -1);
  EXPECT_THAT(registry_->geterror(), HasSubstr("nvreg_deleteKey failed on \"test\""));
}

TEST_F(NvPoRegistryTest, KeepsSimpleAttributesAsText) {
  EXPECT_EQ(registry_->setsimpleattrs("test", NVREG_DWORD, {{"a", "1"}, {"b", "4294967295"}}), 0);
  EXPECT_EQ(registry_->setsimpleattr("test", "s", NVREG_STRING, "text"), 0);
  std::map<std::string, std::string> numbers{{"a", ""}, {"b", ""}};
  EXPECT_EQ(registry_->getsimpleattrs("test", NVREG_DWORD, numbers), 0);
  EXPECT_EQ(numbers["b"], "4294967295");
  std::string text = "kept";
  EXPECT_EQ(registry_->getsimpleattr("test", "s", NVREG_DWORD, text), -1);
  EXPECT_EQ(text, "kept");
  EXPECT_EQ(registry_->getsimpleattr("test", "s", NVREG_STRING, text), 0);
  EXPECT_EQ(text, "text");
  for (char const* number : {"", "4294967296", "-1", "1x"})
    EXPECT_EQ(registry_->setsimpleattr("test", "a", NVREG_DWORD, number), -1) << number;
  EXPECT_EQ(registry_->setsimpleattr("test", "a", NVREG_BINARY, "0a"), -1);
  EXPECT_EQ(stored("a").gettype(), NVREG_DWORD);
}

TEST_F(NvPoRegistryTest, DumpsATreeDepthFirst) {
  registry_->setsimpleattr("test", "n", NVREG_DWORD, "1");
  registry_->setsimpleattr("test\\a\\deep", "s", NVREG_STRING, "x");
  registry_->setsimpleattr("test\\b", "s", NVREG_STRING, "y");
  OpenKey key(*registry_, "test");
  testing::internal::CaptureStdout();
  EXPECT_EQ(registry_->enumKeys(key.get(), "test"), 0);
  EXPECT_EQ(registry_->enumAttr(key.get(), "n"), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "test\n    dword,   n=1\ntest\\a\ntest\\a\\deep\n    string,   s=x\n"
            "test\\b\n    string,   s=y\n    dword,   n=1\n");
  EXPECT_EQ(registry_->geterror(), "");
}

TEST_F(NvPoRegistryTest, SaysSoWhenTheServerIsGone) {
  OpenKey key(*registry_, "test");
  home_.kill();
  Nvregentry entry("v", NVREG_DWORD, 1ul);
  _NvPolComHandle* other = nullptr;
  Texts names;
  std::vector<Nvregentry> entries;
  NvPoRegistry& registry = *registry_;
  struct {
    std::function<int()> call;
    char const* says;
  } const cases[] = {
      {[&] { return registry.nvregopenkey("a", other); }, "nvreg_createKey failed on \"a\""},
      {[&] { return registry.nvsetvalue(key.get(), entry); }, "nvreg_setValue failed on \"v\""},
      {[&] { return registry.getentry(key.get(), "v", entry); }, "nvreg_queryValue failed on the"},
      {[&] { return registry.nvgetallentryname(key.get(), names); },
       "nvreg_enumSubkey failed with"},
      {[&] { return registry.nvgetallentry(key.get(), entries); }, "nvreg_enumAddress failed with"},
      {[&] { return registry.nvregrefresh(); }, "nvreg_refresh failed with"},
      {[&] { return registry.closeregfile(); }, "nvreg_close failed with"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(c.call(), -1) << c.says;
    EXPECT_THAT(registry.geterror(), HasSubstr(c.says));
  }
  ++open_keys;  // the root key, which closeregfile has closed
}

TEST_F(NvPoRegistryTest, RecordsAKeyThatDoesNotClose) {
  close_status = NVREG_MALFORMED;
  { OpenKey key(*registry_, "test"); }
  EXPECT_EQ(registry_->geterror(), "The call nvreg_closeKey failed with status 0x81020005. ");
}

TEST_F(NvPoRegistryTest, FailsEveryCallAfterAFailedOpen) {
  home_.stop();
  testing::internal::CaptureStdout();
  NvPoRegistry registry(home_.address());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "rb is NULL\n");
  EXPECT_EQ(registry.geterror(),
            "The call nvreg_open failed on \"" + home_.address() + "\" with status 0x81020001. ");
  Nvregentry entry("v", NVREG_DWORD, 1ul);
  _NvPolComHandle* key = nullptr;
  Texts names;
  std::vector<Nvregentry> entries;
  std::string text;
  struct {
    std::function<int()> call;
    char const* missing;
  } const cases[] = {
      {[&] { return registry.nvregopenkey("", key); }, "polreg.root"},
      {[&] { return registry.nvregopenkey(key, "a"); }, "nvregopenkey hdl"},
      {[&] { return registry.nvsetentry("a", entry); }, "polreg.root"},
      {[&] { return registry.nvsetvalue(key, entry); }, "nvsetvalue: hdl"},
      {[&] { return registry.getentry(key, "v", entry); }, "getentry: hdl"},
      {[&] { return registry.nvregdeletevalue("a", "v"); }, "polreg.root"},
      {[&] { return registry.nvregdeletevalue(key, "v"); }, "nvregdeletevalue: hdl"},
      {[&] { return registry.nvregdeletekey(key, "a"); }, "nvregdeletekey: hdl"},
      {[&] { return registry.nvgetallentryname(key, names); }, "nvgetallentryname hdl"},
      {[&] { return registry.nvgetallentry(key, entries); }, "nvgetallentry hdl"},
      {[&] { return registry.getsimpleattr("a", "v", NVREG_STRING, text); }, "polreg.root"},
      {[&] { return registry.nvregrefresh(); }, "polreg.registry"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(c.call(), -1) << c.missing;
    EXPECT_THAT(registry.geterror(), HasSubstr(std::string(c.missing) + " is empty"));
  }
  EXPECT_EQ(registry.closeregfile(), 0);
  home_.start();
  registry.setfilename(home_.address());
  EXPECT_TRUE(registry.nvregopen());
  EXPECT_EQ(registry.nvsetentry("a", entry), 0);
  EXPECT_EQ(registry.nvregrefresh(), 0);
  EXPECT_EQ(registry_->closeregfile(), -1);  // its server is gone
  registry.closeregfile();
  open_keys += 2;  // the two root keys
}
