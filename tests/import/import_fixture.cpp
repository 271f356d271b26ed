#include "import_fixture.h"

#include "run_log.h"
#include "runlog.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace {

std::string failing_names;

bool fails(std::string const& name, int32_t* status) {
  std::string const lines = "\n" + failing_names + "\n";
  if (name.empty() || lines.find("\n" + name + "\n") == std::string::npos) return false;
  *status = NVREG_STORE_WRITE;
  return true;
}

std::string refused(int code, char const* call, std::string const& name,
                    std::string const& what = "Error") {
  return what + " [" + std::to_string(code) +
         "]: " + reason("REG_FAIL", call, name, NVREG_STORE_WRITE);
}

Export spoilt(Export const& files, Fault const& fault) {
  Export faulty = files;
  if (!fault.from.empty()) return changed(files, fault.file, fault.from, fault.to);
  if (fault.lacks.empty()) {
    EXPECT_EQ(faulty.erase(fault.file), fault.file.empty() ? 0u : 1u);
    return faulty;
  }
  std::string& text = faulty.at(fault.file);
  size_t const dot = fault.lacks.find('.');
  size_t const section = text.find("\n[" + fault.lacks.substr(0, dot) + "]\n");
  EXPECT_NE(section, std::string::npos) << fault.lacks;
  text.insert(text.find("\n" + fault.lacks.substr(dot + 1) + "=", section) + 1, "x");
  return faulty;
}

}  // namespace

// Visible, because the linker takes the calls of libnvpol for wrapped ones too; they are not.
#pragma GCC visibility push(default)
extern "C" {
_NvPolComHandle* __real_nvreg_openKey(_NvPolComHandle*, char const*, int32_t*);
_NvPolComHandle* __real_nvreg_createKey(_NvPolComHandle*, char const*, int32_t*);
void __real_nvreg_deleteKey(_NvPolComHandle*, char const*, int32_t*);
void __real_nvreg_enumSubkey(_NvPolComHandle*, uint32_t, char*, uint32_t*, int32_t*);
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
  if (!fails(path, status) && !fails(std::string("delete ") + path, status))
    __real_nvreg_deleteKey(parent, path, status);
}
void __wrap_nvreg_enumSubkey(_NvPolComHandle* key, uint32_t index, char* name, uint32_t* length,
                             int32_t* status) {
  if (!fails("list", status)) __real_nvreg_enumSubkey(key, index, name, length, status);
}
void __wrap_nvreg_setValue(_NvPolComHandle* key, char const* name, _NvRegDataType type,
                           unsigned char const* data, uint32_t length, int32_t* status) {
  if (!fails(name, status)) __real_nvreg_setValue(key, name, type, data, length, status);
}
}
#pragma GCC visibility pop

Export example() {
  Export files = read_files(ZEVA_EXAMPLE_FOLDER);
  struct {
    char const *file, *from, *to;
  } const warned_of[] = {
      {"action8.txt", "/srv/archive/attachments", "/opt/norva/zeva/queue/archive"},
      {"quarantine.txt", "/srv/cardiff/quarantine", "/opt/norva/zeva/queue/quarantine"},
      {"tasks/antispam-service.txt", "Rate=1:9", "Rate=1:4"},
      {"tasks/antispam-cardiff.txt", "Rate=1:1", "Rate=1:4"},
  };
  for (auto const& [file, from, to] : warned_of) files = changed(files, file, from, to);
  return files;
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

std::string no_value(std::string const& value, std::string const& file) {
  return "Error [148]: read value [" + value + "] from " + file + " failed.";
}

Lines far_apart(int code, std::string const& list, std::string const& file, int first,
                std::string const& stem, std::string const& end) {
  int const far = 2000000000;
  std::string const item = stem.substr(stem.find('.') + 1) + std::to_string(far);
  Lines lines;
  auto add_gap = [&](int from, int missing, std::string const& what) {
    for (int i = from; i < from + 100; ++i)
      lines.push_back(no_value(stem + std::to_string(i) + end, file));
    lines.push_back("Error [" + std::to_string(code) + "]: " + std::to_string(missing) + " " +
                    list + " in a row are missing from " + file + ", the " + what + ".");
  };
  add_gap(first, far - first, "next is " + item);
  add_gap(far + 1, 100, "rest is left out");
  return lines;
}

std::string unreadable(int code, std::string const& file) {
  return "Error [" + std::to_string(code) + "]: read " + file + " failed.";
}

ImportCase missing_file(int code, std::string const& file, Lines const& lost) {
  return {{file}, {unreadable(code, file)}, lost};
}

ImportCase missing_value(std::string const& file, std::string const& value, Lines const& lost) {
  return {{.file = file, .lacks = value}, {no_value(value, file)}, lost};
}

ImportCase refused_key(int code, std::string const& key, Lines const& lost) {
  return {{.failing = key}, {refused(code, "nvreg_createKey", key)}, lost};
}

ImportCase refused_deletion(int code, std::string const& key, Lines const& lost,
                            std::string const& what) {
  return {{.failing = key}, {refused(code, "nvreg_deleteKey", key, what)}, lost};
}

ImportCase refused_value(std::string const& name, Lines const& lost) {
  return {{.failing = name}, {refused(258, "nvreg_setValue", name)}, lost};
}

void ImportTest::SetUpTestSuite() {
  home = new ScratchHome;
  home->start();
}

ImportTest::ImportTest() : dir_(home->path() + "/export"), log_(home->path() + "/run.log") {
  SetDebugLogFileName(log_.c_str());
}

int ImportTest::run(Importer importer, Export const& files, std::string const& failing) {
  fs::remove_all(dir_);
  fs::create_directories(dir_);
  for (auto const& [name, text] : files) write_text(dir_ / name, text);
  fs::remove(log_);
  failing_names = failing;
  int const result = importer(dir_.c_str(), home->address().c_str());
  failing_names.clear();
  return result;
}

void ImportTest::prepare() {
  for (auto const& [path, values] : client_.contents()) {
    if (path.empty()) {
      for (StoredValue const& value : values) client_.erase_value("", value.name);
    } else if (path.find('\\') == std::string::npos) {
      client_.erase(path);
    }
  }
  for (std::string const& key : old_keys_) {
    EXPECT_EQ(client_.create(key), NVREG_OK);
    EXPECT_EQ(client_.set(key, "old", NVREG_BINARY, ""), NVREG_OK);
  }
}

void ImportTest::check(Importer importer, Outcome outcome, std::vector<ImportCase> const& cases) {
  prepare();
  EXPECT_EQ(run(importer, files_), 0);
  Lines whole = stored();
  for (ImportCase const& each : cases) {
    SCOPED_TRACE(testing::PrintToString(each.log) + each.fault.from + " -> " + each.fault.to);
    check(importer, each, outcome, whole);
  }
}

void ImportTest::check(Importer importer, ImportCase const& each, Outcome outcome,
                       Lines const& whole) {
  prepare();
  EXPECT_EQ(run(importer, spoilt(files_, each.fault), each.fault.failing), outcome.result);
  EXPECT_EQ(logged(), each.log);

  Lines expected = whole, arrived = stored();
  std::erase_if(expected, [&](auto const& value) {
    return std::ranges::any_of(each.lost,
                               [&](auto const& start) { return value.starts_with(start); });
  });
  size_t const others = std::erase_if(
      arrived, [&](auto const& value) { return !std::ranges::binary_search(whole, value); });
  EXPECT_EQ(arrived, expected);
  EXPECT_EQ(others, outcome.others);
}

Lines ImportTest::logged() const {
  std::string const folder = dir_.string() + "/";
  Lines messages = logged_messages(log_);
  for (std::string& message : messages)
    for (size_t at; (at = message.find(folder)) != std::string::npos;)
      message.erase(at, folder.size());
  return messages;
}

Lines ImportTest::stored() {
  Lines names;
  for (auto const& [path, values] : client_.contents())
    for (StoredValue const& value : values) names.push_back(path + ":" + value.name);
  std::ranges::sort(names);
  return names;
}
