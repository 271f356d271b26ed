// A long random walk over the registry beside a plain model of it, with servers that are stopped
// and killed in between.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>

#include "loader.h"
#include "nvreg.h"
#include "registry_client.h"
#include "registry_text.h"
#include "scratch_home.h"

namespace {

struct ModelValue {
  std::string name;
  _NvRegDataType type;
  std::string data;
};

struct ModelKey {
  std::string name;
  std::vector<ModelValue> values{};
  std::vector<ModelKey> subkeys{};
};

template <class Item>
typename std::vector<Item>::iterator find(std::vector<Item>& items, std::string const& name) {
  return std::find_if(items.begin(), items.end(), [&](Item& item) { return item.name == name; });
}

using Path = std::vector<std::string>;

ModelKey* find_model(ModelKey& root, Path const& path, bool create = false) {
  ModelKey* key = &root;
  for (std::string const& name : path) {
    auto below = find(key->subkeys, name);
    if (below == key->subkeys.end()) {
      if (!create) return nullptr;
      below = key->subkeys.insert(below, ModelKey{name});
    }
    key = &*below;
  }
  return key;
}

std::string model_text(ModelKey const& key, std::string const& path = {}) {
  std::string text = key_text(path);
  for (ModelValue const& value : key.values) text += value_text(value.name, value.type, value.data);
  for (ModelKey const& below : key.subkeys)
    text += model_text(below, (path.empty() ? "" : path + "\\") + below.name);
  return text;
}

class Walk : public testing::Test {
 protected:
  void SetUp() override {
    home_.start();
    connect();
    for (char const* key : {"registry", "WhiteBlackLists", "XFilter"})
      ASSERT_EQ(client_->erase(key), NVREG_OK);
  }

  void connect() { client_ = std::make_unique<RegistryClient>(home_.address()); }
  size_t any(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(random_); }

  std::string any_name() {
    static constexpr char const* names[] = {
        "a",    "b",        "c",        "d",      " lead", "trail ", "tab\there",   "line\nbreak",
        "\x01", "\xff\xfe", "\xc3\xbc", "<&\"'>", "]]>",   "cr\r",   "\xed\xa0\x80"};
    return any(16) == 0 ? std::string(1024, 'n') : names[any(std::size(names))];
  }

  std::string any_data(_NvRegDataType type) {
    using std::string_view_literals::operator""sv;
    static constexpr std::string_view data[] = {
        ""sv,         "\0"sv,           "text\0"sv,           "text"sv,    "two\nlines\0"sv,
        "a\0b\0\0"sv, "a\0\0b\0"sv,     " blank \0"sv,        " \0"sv,     "cr\r\n\0"sv,
        "\xff\0"sv,   "\xef\xbf\xbf"sv, "<!-- crc32 -->\0"sv, "&amp;\0"sv, "\x7f\x80"sv};
    if (type == NVREG_DWORD) return std::string(4, static_cast<char>(any(256)));
    return any(16) == 0 ? std::string(5000, 'x') : std::string(data[any(std::size(data))]);
  }

  Path any_path() {
    Path path(any(4));
    for (std::string& name : path) name = any_name();
    return path;
  }

  // The path with the slack that counts for nothing.
  std::string spell(Path const& path) {
    std::string text;
    for (std::string const& name : path) text += std::string(any(3) + !text.empty(), '\\') + name;
    return text + std::string(any(3), '\\');
  }

  void step();
  void create_key();
  void delete_key();
  void set_value();
  void delete_value();
  void end_server();
  void compare();

  unsigned const seed_ = std::random_device()();
  std::mt19937 random_{seed_};
  ScratchHome home_;
  std::unique_ptr<RegistryClient> client_;
  ModelKey model_;
};

void Walk::create_key() {
  Path path = any_path();
  ASSERT_EQ(client_->create(spell(path)), NVREG_OK);
  find_model(model_, path, true);
}

void Walk::delete_key() {
  Path path = any_path();
  if (path.empty()) {
    ASSERT_EQ(client_->erase(spell(path)), NVREG_BAD_ARGUMENT);
    return;
  }
  bool there = find_model(model_, path) != nullptr;
  ASSERT_EQ(client_->erase(spell(path)), there ? NVREG_OK : NVREG_NOT_FOUND);
  if (!there) return;
  std::string const last = path.back();
  path.pop_back();
  auto& siblings = find_model(model_, path)->subkeys;
  siblings.erase(find(siblings, last));
}

void Walk::set_value() {
  Path path = any_path();
  auto type = static_cast<_NvRegDataType>(any(4));
  ModelValue value{any(5) == 0 ? "" : any_name(), type, any_data(type)};
  ModelKey* key = find_model(model_, path);
  ASSERT_EQ(client_->set(spell(path), value.name, type, value.data),
            key ? NVREG_OK : NVREG_NOT_FOUND);
  if (!key) return;
  auto old = find(key->values, value.name);
  if (old == key->values.end())
    key->values.push_back(value);
  else
    *old = value;
}

void Walk::delete_value() {
  Path path = any_path();
  std::string name = any_name();
  ModelKey* key = find_model(model_, path);
  bool there = key && find(key->values, name) != key->values.end();
  ASSERT_EQ(client_->erase_value(spell(path), name), there ? NVREG_OK : NVREG_NOT_FOUND);
  if (there) key->values.erase(find(key->values, name));
}

// A server may end at any time; what it has answered counts.
void Walk::end_server() {
  if (any(2) == 0) client_.reset();
  any(2) == 0 ? home_.stop() : home_.kill();
  home_.start();
  connect();
}

// What the client sees, and what the files say meanwhile.
void Walk::compare() {
  std::string const expected = model_text(model_);
  ASSERT_EQ(registry_text(*client_), expected);
  zeva::LoadedStore loaded = zeva::load_store(home_.path() + "/config");
  ASSERT_TRUE(loaded.root) << loaded.failure;
  ASSERT_EQ(registry_text(*loaded.root), expected);
  ASSERT_TRUE(loaded.notes.empty()) << loaded.notes[0];
}

void Walk::step() {
  switch (any(8)) {
    case 0:
    case 1:
      return create_key();
    case 2:
      return delete_key();
    case 3:
      return delete_value();
    case 4:
      ASSERT_EQ(client_->refresh(), NVREG_OK);
      return;
    default:
      return set_value();
  }
}

TEST_F(Walk, StoreAndModelStayTheSame) {
  SCOPED_TRACE("seed " + std::to_string(seed_));
  for (int i = 1; i <= 4000 && !HasFatalFailure(); ++i) {
    SCOPED_TRACE("step " + std::to_string(i));
    step();
    if (i % 80 == 0) end_server();
    if (i % 40 == 0) compare();
  }
}

// The log outgrows its bound again and again, so that refreshes write snapshots.
TEST_F(Walk, SnapshotsOnRefreshLoseNothing) {
  for (int i = 0; i < 40; ++i) {
    std::string const name = std::to_string(i % 3);
    std::string const data(500000, static_cast<char>(i));
    ASSERT_EQ(client_->set("", name, NVREG_BINARY, data), NVREG_OK);
    if (i < 3) model_.values.push_back({name, NVREG_BINARY, {}});
    model_.values[static_cast<size_t>(i % 3)].data = data;
    ASSERT_EQ(client_->refresh(), NVREG_OK);
    if (i % 13 == 12) end_server();
    if (i % 10 == 9) compare();
    ASSERT_LT(std::filesystem::file_size(home_.config("cFlt_db.xml.redo")), 5'000'000u);
  }
}

}  // namespace
