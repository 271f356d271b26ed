// The policy registry against a real server. Failures are real where they can be had: a missing
// key, a server that is gone.

#include "nvporegistry.h"

#include <gmock/gmock.h>
#include <unicode/uloc.h>

#include <filesystem>
#include <functional>
#include <memory>

#include "openkey.h"
#include "scratch_home.h"

using testing::ElementsAre;
using testing::HasSubstr;
using Texts = std::vector<std::string>;

namespace {

_NvRegDataType const kUnknownType = static_cast<_NvRegDataType>(7);
_NvRegDataType enum_type;  // what the enumeration of values calls a number

}  // namespace

// Visible, because the linker takes the calls of libnvpol for wrapped ones too; they are not.
#pragma GCC visibility push(default)
extern "C" {
void __real_nvreg_enumValue(_NvPolComHandle*, uint32_t, char*, uint32_t*, _NvRegDataType*,
                            unsigned char*, uint32_t*, int32_t*);
void __wrap_nvreg_enumValue(_NvPolComHandle* key, uint32_t index, char* name, uint32_t* name_length,
                            _NvRegDataType* type, unsigned char* data, uint32_t* length,
                            int32_t* status) {
  __real_nvreg_enumValue(key, index, name, name_length, type, data, length, status);
  if (*type == NVREG_DWORD) *type = enum_type;
}
}
#pragma GCC visibility pop

namespace {

// A key handle that is not given back keeps its connection open.
long open_files() {
  std::filesystem::directory_iterator const files("/proc/self/fd");
  return std::distance(begin(files), end(files));
}

class NvPoRegistryTest : public testing::Test {
 protected:
  NvPoRegistryTest() {
    UErrorCode status = U_ZERO_ERROR;
    uloc_setDefault("en_US", &status);
    home_.start();
    files_before_ = open_files();
    registry_ = std::make_unique<NvPoRegistry>(home_.address());
    enum_type = NVREG_DWORD;
  }
  ~NvPoRegistryTest() override {
    registry_.reset();
    EXPECT_EQ(open_files(), files_before_) << "a key was left open";
  }

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
  int set_bytes(char const* name, _NvRegDataType type, std::string const& bytes) {
    return registry_->nvsetvalue("test", name, type,
                                 reinterpret_cast<unsigned char const*>(bytes.data()),
                                 static_cast<int>(bytes.size()));
  }

  ScratchHome home_;
  long files_before_;
  std::unique_ptr<NvPoRegistry> registry_;
};

Nvregentry list_entry(std::string const& name, _NvRegDataType type, Texts const& texts) {
  Nvregentry entry;
  entry.setname(name);
  entry.setvalue(type, texts);
  return entry;
}

// Calls that fail, and what the error record says of it.
struct Failure {
  std::function<int()> call;
  std::string says;
};
void check(NvPoRegistry& registry, std::vector<Failure> const& failures) {
  for (Failure const& failure : failures) {
    EXPECT_EQ(failure.call(), -1) << failure.says;
    EXPECT_THAT(registry.geterror(), HasSubstr(failure.says));
  }
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
  // Of 5000 bytes 2048 are stored, without a terminator; reading gives up the last one for it.
  for (size_t size : {2047u, 2048u, 5000u})
    EXPECT_EQ(back({"s", NVREG_STRING, std::string(size, 'x')}),
              "s=SZ " + std::string(2047, 'x') + "\n");
  std::string const half(1500, 'y');
  EXPECT_EQ(back(list_entry("m", NVREG_MULTISTRING, {"a", half, half, "z"})),
            "m=MS a, " + half + ", \n");
  unsigned char data[4096];
  int length = sizeof data;
  _NvRegDataType type;
  ASSERT_EQ(registry_->nvgetvalue("test", "m", type, data, length), 0);
  EXPECT_EQ(std::string(data + 1503, data + length), std::string(2048 - 1503, '\0'));
  EXPECT_EQ(back(list_entry("b", NVREG_BINARY, Texts(2049, "07"))).size(), 5u + 3 * 2049 + 1);
}

TEST_F(NvPoRegistryTest, ReadsRawValuesThatNothingTerminates) {
  std::string const bytes(2049, 'z');
  ASSERT_EQ(set_bytes("s", NVREG_STRING, bytes), 0);
  ASSERT_EQ(set_bytes("m", NVREG_MULTISTRING, bytes), 0);
  std::vector<Nvregentry> entries;
  ASSERT_EQ(registry_->nvgetallentry("test", entries), 0);
  std::string text;
  Texts list;
  entries.at(0).getvalue(text);
  entries.at(1).getvalue(list);
  EXPECT_EQ(text, bytes.substr(1));
  EXPECT_THAT(list, ElementsAre(bytes));

  ASSERT_EQ(set_bytes("long", NVREG_STRING, bytes + "!"), 0);
  Nvregentry entry;
  check(*registry_, {{[&] { return registry_->nvgetentry("test", "long", entry); },
                      "The call nvreg_queryValue failed on the value \"long\" of the key \"test\" "
                      "with status 0x81020004. "},
                     {[&] { return registry_->nvgetallentry("test", entries); },
                      "nvreg_enumAddress failed with status 0x81020004"}});
}

TEST_F(NvPoRegistryTest, OpensByPathAndCreatesWhatIsMissing) {
  _NvPolComHandle* root = nullptr;
  ASSERT_EQ(registry_->nvregopenkey("", root), 0);
  _NvPolComHandle* key = root;
  EXPECT_EQ(registry_->nvregopenkey(key, ""), 0);
  EXPECT_EQ(key, root);
  {
    OpenKey made(*registry_, "test\\\\new");
    OpenKey below(*registry_, made.get(), "below");
    OpenKey same(*registry_, made.get(), "");
    EXPECT_TRUE(made && below && same.get() == made.get());
  }
  Texts names;
  EXPECT_EQ(registry_->nvgetallentryname("test\\new", names), 0);
  EXPECT_THAT(names, ElementsAre("below"));
  EXPECT_EQ(registry_->nvregclosekey(root), 0);  // stays usable
  EXPECT_EQ(registry_->nvgetallentryname("", names), 0);
}

TEST_F(NvPoRegistryTest, StoresAndListsEntriesInOrder) {
  std::vector<Nvregentry> entries{{"z", NVREG_DWORD, 1ul},
                                  {"a", NVREG_STRING, std::string("x")},
                                  {"bad", kUnknownType, 1ul},
                                  {"c", NVREG_DWORD, 1ul}};
  Texts names;
  check(*registry_,
        {{[&] { return registry_->nvsetallentry("test\\k", entries); },
          "Unknown or unfitting value type: nvsetvalue type error at \"bad\". "},
         {[&] { return registry_->nvgetallentryname("test\\k", names); }, "The task name"}});
  entries.clear();
  EXPECT_EQ(registry_->nvgetallentry("test", entries), 0);
  enum_type = kUnknownType;
  EXPECT_EQ(registry_->nvgetallentry("test\\k", entries), 0);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].getname() + entries[1].getname(), "za");
  EXPECT_EQ(entries[0].gettype(), kUnknownType);
  EXPECT_THAT(registry_->geterror(), HasSubstr("nvreg_enumValue get type error at \"z\""));
}

TEST_F(NvPoRegistryTest, DeletesValuesAndKeys) {
  back({"v", NVREG_DWORD, 1ul});
  EXPECT_EQ(registry_->nvregdeletevalue("test", "v"), 0);
  OpenKey root(*registry_, "");
  EXPECT_EQ(registry_->nvregdeletekey(root.get(), "test"), 0);
  OpenKey test(*registry_, "test");
  check(
      *registry_,
      {{[&] { return registry_->nvregdeletevalue("test", "v"); },
        "The call nvreg_deleteValue failed on \"v\" with status 0x81020003. "},
       {[&] { return registry_->nvregdeletevalue("none", "v"); }, "nvreg_openkey failed on"},
       {[&] { return registry_->nvregdeletekey(root.get(), "none"); }, "nvreg_deleteKey failed"}});
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
  NvPoRegistry& r = *registry_;
  check(r, {{[&] { return r.nvregopenkey("a", other); }, "nvreg_createKey failed on \"a\""},
            {[&] { return r.nvsetvalue(key.get(), entry); }, "nvreg_setValue failed on \"v\""},
            {[&] { return r.getentry(key.get(), "v", entry); }, "nvreg_queryValue failed on the"},
            {[&] { return r.nvgetallentryname(key.get(), names); }, "nvreg_enumSubkey failed with"},
            {[&] { return r.nvgetallentry(key.get(), entries); }, "nvreg_enumAddress failed with"},
            {[&] { return r.nvregrefresh(); }, "nvreg_refresh failed with"},
            {[&] { return r.closeregfile(); }, "nvreg_close failed with"}});
}

TEST_F(NvPoRegistryTest, FailsEveryCallAfterAFailedOpen) {
  home_.stop();
  testing::internal::CaptureStdout();
  NvPoRegistry r(home_.address());
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "rb is NULL\n");
  EXPECT_EQ(r.geterror(),
            "The call nvreg_open failed on \"" + home_.address() + "\" with status 0x81020001. ");
  Nvregentry entry("v", NVREG_DWORD, 1ul);
  _NvPolComHandle* key = nullptr;
  Texts names;
  std::vector<Nvregentry> entries;
  check(r, {{[&] { return r.nvregopenkey("", key); }, "polreg.root is empty"},
            {[&] { return r.nvregopenkey(key, "a"); }, "nvregopenkey hdl is empty"},
            {[&] { return r.nvsetentry("a", entry); }, "polreg.root is empty"},
            {[&] { return r.nvsetvalue(key, entry); }, "nvsetvalue: hdl is empty"},
            {[&] { return r.getentry(key, "v", entry); }, "getentry: hdl is empty"},
            {[&] { return r.nvregdeletevalue("a", "v"); }, "polreg.root is empty"},
            {[&] { return r.nvregdeletevalue(key, "v"); }, "nvregdeletevalue: hdl is empty"},
            {[&] { return r.nvregdeletekey(key, "a"); }, "nvregdeletekey: hdl is empty"},
            {[&] { return r.nvgetallentryname(key, names); }, "nvgetallentryname hdl is empty"},
            {[&] { return r.nvgetallentry(key, entries); }, "nvgetallentry hdl is empty"},
            {[&] { return r.nvregrefresh(); }, "polreg.registry is empty"}});
  home_.start();
  r.setfilename(home_.address());
  EXPECT_TRUE(r.nvregopen());
  EXPECT_EQ(r.nvsetentry("a", entry), 0);
  EXPECT_EQ(r.nvregrefresh(), 0);
  EXPECT_EQ(r.closeregfile(), 0);
}
