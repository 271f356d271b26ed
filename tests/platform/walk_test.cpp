// A long random walk over the registry beside a plain model of it, with servers that are stopped
// and killed in between.
#include "loader.h"
#include "nvreg.h"
#include "registry_client.h"
#include "scratch_home.h"
#include "store_content.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>

namespace {

using Path = std::vector<std::string>;

std::string parent(std::string const& path) {
  size_t const last = path.rfind('\\');
  return last == std::string::npos ? "" : path.substr(0, last);
}

// The keys as text, those of one parent together and in the order of their making.
std::string by_parent(std::vector<StoredKey> keys) {
  std::ranges::stable_sort(keys, {}, [](StoredKey const& key) { return parent(key.first); });
  return to_text(keys);
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
    return any(16) == 0 ? std::string(NVREG_MAX_NAME, 'n') : names[any(std::size(names))];
  }

  std::string any_data(_NvRegDataType type) {
    using std::string_view_literals::operator""sv;
    static constexpr std::string_view data[] = {
        ""sv,         "\0"sv,           "text\0"sv,           "text"sv,    "two\nlines\0"sv,
        "a\0b\0\0"sv, "a\0\0b\0"sv,     " blank \0"sv,        " \0"sv,     "c\r\nr\0"sv,
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

  auto find(Path const& path) {
    std::string text;
    for (std::string const& name : path) text = below(text, name);
    return std::ranges::find(model_, text, &StoredKey::first);
  }

  void step();
  void end_server();
  void compare();

  unsigned const seed_ = std::random_device()();
  std::mt19937 random_{seed_};
  ScratchHome home_;
  std::unique_ptr<RegistryClient> client_;
  std::vector<StoredKey> model_{{"", {}}};  // in the order of their making
};

// Does one thing to the store and to the model. A key or a value that is not there is not found.
void Walk::step() {
  Path const path = any_path();
  std::string const name = any(5) == 0 ? "" : any_name();
  auto const key = find(path);
  int32_t const found = key != model_.end() ? NVREG_OK : NVREG_NOT_FOUND;
  switch (any(8)) {
    case 0:
    case 1: {
      ASSERT_EQ(client_->create(spell(path)), NVREG_OK);
      std::string made;
      for (std::string const& component : path) {
        made = below(made, component);
        if (std::ranges::find(model_, made, &StoredKey::first) == model_.end())
          model_.push_back({made, {}});
      }
      return;
    }
    case 2: {
      ASSERT_EQ(client_->erase(spell(path)), path.empty() ? NVREG_BAD_ARGUMENT : found);
      if (path.empty() || found != NVREG_OK) return;
      std::string const gone = key->first;
      std::erase_if(model_, [&](StoredKey const& other) {
        return other.first == gone || other.first.starts_with(gone + "\\");
      });
      return;
    }
    case 3: {
      auto const has_name = [&](StoredValue const& value) { return value.name == name; };
      bool const there = key != model_.end() && std::erase_if(key->second, has_name) > 0;
      ASSERT_EQ(client_->erase_value(spell(path), name), there ? NVREG_OK : NVREG_NOT_FOUND);
      return;
    }
    case 4:
      ASSERT_EQ(client_->refresh(), NVREG_OK);
      return;
    default: {
      auto const type = static_cast<_NvRegDataType>(any(4));
      StoredValue const value{name, type, any_data(type)};
      ASSERT_EQ(client_->set(spell(path), name, type, value.bytes), found);
      if (found != NVREG_OK) return;
      auto const old = std::ranges::find(key->second, name, &StoredValue::name);
      if (old == key->second.end())
        key->second.push_back(value);
      else
        *old = value;
    }
  }
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
  std::vector<StoredKey> const seen = client_->contents();
  ASSERT_EQ(by_parent(seen), by_parent(model_));
  zeva::LoadedStore loaded = zeva::load_store(home_.path() + "/config");
  ASSERT_TRUE(loaded.root) << loaded.failure;
  ASSERT_EQ(to_text(*loaded.root), to_text(seen));
  ASSERT_TRUE(loaded.notes.empty()) << loaded.notes[0];
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

}  // namespace
