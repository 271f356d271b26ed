#include "import_fixture.h"

#include <fstream>
#include <sstream>

#include "openkey.h"
#include "runlog.h"
#include "typedtext.h"

namespace fs = std::filesystem;

namespace {

std::string failing_name;

bool fails(char const* name, int32_t* status) {
  if (failing_name.empty() || failing_name != name) return false;
  *status = NVREG_STORE_WRITE;
  return true;
}

void list(NvPoRegistry& registry, _NvPolComHandle* key, std::string const& path, Lines& lines) {
  std::vector<Nvregentry> entries;
  EXPECT_EQ(registry.nvgetallentry(key, entries), 0);
  for (Nvregentry const& entry : entries) {
    std::string line;
    entry.getregentrystring("", line);
    lines.push_back(path + ":" + line.substr(4, line.size() - 5));
  }
  Lines names;
  if (registry.nvgetallentryname(key, names) == -1 && entries.empty()) lines.push_back(path);
  for (std::string const& name : names) {
    OpenKey below(registry, key, name);
    list(registry, below.get(), path + "\\" + name, lines);
  }
}

}  // namespace

// Visible, because the linker takes the calls of libnvpol for wrapped ones too; they are not.
#pragma GCC visibility push(default)
extern "C" {
_NvPolComHandle* __real_nvreg_openKey(_NvPolComHandle*, char const*, int32_t*);
_NvPolComHandle* __real_nvreg_createKey(_NvPolComHandle*, char const*, int32_t*);
void __real_nvreg_deleteKey(_NvPolComHandle*, char const*, int32_t*);
void __real_nvreg_setValue(_NvPolComHandle*, char const*, _NvRegDataType, unsigned char const*,
                           uint32_t, int32_t*);

_NvPolComHandle* __wrap_nvreg_openKey(_NvPolComHandle* parent, char const* path, int32_t* status) {
  return fails(path, status) ? nullptr : __real_nvreg_openKey(parent, path, status);
}
_NvPolComHandle* __wrap_nvreg_createKey(_NvPolComHandle* parent, char const* path,
                                        int32_t* status) {
  return fails(path, status) ? nullptr : __real_nvreg_createKey(parent, path, status);
}
void __wrap_nvreg_deleteKey(_NvPolComHandle* parent, char const* path, int32_t* status) {
  if (!fails(path, status)) __real_nvreg_deleteKey(parent, path, status);
}
void __wrap_nvreg_setValue(_NvPolComHandle* key, char const* name, _NvRegDataType type,
                           unsigned char const* data, uint32_t length, int32_t* status) {
  if (!fails(name, status)) __real_nvreg_setValue(key, name, type, data, length, status);
}
}
#pragma GCC visibility pop

Lines operator+(Lines first, Lines const& more) {
  first.insert(first.end(), more.begin(), more.end());
  return first;
}

Export changed(Export files, std::string const& name, std::string const& from,
               std::string const& to) {
  std::string& text = files.at(name);
  EXPECT_NE(text.find(from), std::string::npos) << from;
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return files;
}

Export without(Export files, std::string const& name) {
  EXPECT_EQ(files.erase(name), 1u);
  return files;
}

Lines shown(std::string const& prefix, std::string const& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    size_t const type = line.find('=') + 1;
    lines.push_back(prefix + line.substr(0, type) + (line[type] == '1' ? "DW " : "SZ ") +
                    trans_str(line.substr(type + 2)));
  }
  return lines;
}

std::string no_value(std::string const& value, std::string const& file) {
  return "Error [148]: read value [" + value + "] from " + file + " failed.";
}

std::string refused(int code, std::string const& call, std::string const& name,
                    std::string const& what) {
  return what + " [" + std::to_string(code) +
         "]: " + reason("REG_FAIL", call, name, NVREG_STORE_WRITE);
}

void ImportTest::SetUpTestSuite() {
  home = new ScratchHome;
  home->start();
}

ImportTest::ImportTest() : dir(home->path() + "/export"), log_(home->path() + "/run.log") {
  SetDebugLogFileName(log_.c_str());
}

int ImportTest::run(Importer importer, Export const& files, std::string const& failing) {
  fs::remove_all(dir);
  fs::create_directories(dir);
  for (auto const& [name, text] : files) {
    fs::create_directories((dir / name).parent_path());
    std::ofstream(dir / name) << text;
  }
  fs::remove(log_);
  failing_name = failing;
  int const result = importer(dir.c_str(), home->address().c_str());
  failing_name.clear();
  return result;
}

void ImportTest::check(Importer importer, std::string const& key,
                       std::function<void()> const& prepare, std::vector<ImportCase> const& cases) {
  for (ImportCase const& each : cases) {
    SCOPED_TRACE(testing::PrintToString(each.log) + " " + each.failing);
    NvPoRegistry registry(home->address());
    registry.nvregdeletekey(OpenKey(registry, "").get(), key);
    prepare();
    EXPECT_EQ(run(importer, each.files, each.failing), each.result);
    EXPECT_EQ(logged(), each.log);
    EXPECT_EQ(values(key), each.values);
  }
}

Lines ImportTest::logged() const {
  std::string const folder = dir.string() + "/";
  Lines messages;
  std::ifstream file(log_);
  for (std::string line; std::getline(file, line);) {
    size_t const header = line.starts_with('[') ? line.find("l]:") : std::string::npos;
    if (header != std::string::npos) line.erase(0, header + 3);
    for (size_t at; (at = line.find(folder)) != std::string::npos;) line.erase(at, folder.size());
    if (header != std::string::npos || messages.empty())
      messages.push_back(line);
    else
      messages.back() += "\n" + line;
  }
  return messages;
}

void ImportTest::put(std::string const& path, std::string const& value) {
  NvPoRegistry registry(home->address());
  Nvregentry entry(value, NVREG_DWORD, 1ul);
  EXPECT_EQ(registry.nvsetentry(path, entry), 0);
}

Lines ImportTest::stored(std::string const& path) {
  NvPoRegistry registry(home->address());
  OpenKey key(registry, path);
  Lines lines;
  list(registry, key.get(), "", lines);
  return lines;
}

Lines ImportTest::values(std::string const& path) {
  Lines lines = stored(path);
  std::erase_if(lines, [](std::string const& line) { return line.find(':') == std::string::npos; });
  return lines;
}
