#include "secrets.h"

#include "areas.h"
#include "digest.h"
#include "nvreg.h"
#include "registry_view.h"
#include "text.h"

#include <ctype.h>

#include <algorithm>
#include <utility>

namespace zeva {
namespace {

constexpr size_t kShortest = 4;  // bytes

// What the names of secrets hold, letters alone counting: these words anywhere, those at the end.
constexpr std::string_view kSecretWords[] = {"password", "passwd", "passphrase", "passcode"};
constexpr std::string_view kSecretEnds[] = {"pwd",         "secret",   "token",     "credential",
                                            "credentials", "apikey",   "secretkey", "accesskey",
                                            "privatekey",  "sharedkey"};
// Begins the names of what a virus scan does with a mail that nobody can look into.
constexpr std::string_view kNoSecret = "passwordprotected";

// As value_line() shows it: "    =BI 31 32 ".
std::string spaced_hex(Value const& value) {
  std::string const line = value_line({"", value.type, value.data});
  size_t const start = line.find("=BI ") + 4;
  return line.substr(start, line.find_last_not_of(' ') + 1 - start);
}

// What a value looks like in a log: a text as it is, the entries of a list, a number in decimal,
// bytes in hex.
std::vector<std::string> texts_of(Value const& value) {
  if (value.type == NVREG_DWORD) return {value_json(value)["value"].dump()};
  if (value.type == NVREG_BINARY) return {to_hex(value.data), spaced_hex(value)};
  std::vector<std::string> texts;
  std::string_view rest = value.data;
  while (!rest.empty()) {
    std::string_view const text = rest.substr(0, rest.find('\0'));
    texts.emplace_back(text);
    rest.remove_prefix(std::min(rest.size(), text.size() + 1));
  }
  return texts;
}

}  // namespace

Secrets::Secrets(std::vector<std::string> prefixes) : prefixes_(std::move(prefixes)) {}

bool Secrets::is_secret_name(std::string_view name) {
  std::string letters;
  for (char const c : name) {
    auto const letter = static_cast<unsigned char>(c);
    if (isalpha(letter)) letters += static_cast<char>(tolower(letter));
  }
  auto const holds = [&](std::string_view word) { return letters.find(word) != letters.npos; };
  auto const ends = [&](std::string_view word) { return letters.ends_with(word); };
  return !letters.starts_with(kNoSecret) &&
         (std::ranges::any_of(kSecretWords, holds) || std::ranges::any_of(kSecretEnds, ends));
}

bool Secrets::covers(std::string_view path, std::string_view name) const {
  std::string_view const telling = name.empty() ? path.substr(path.rfind('\\') + 1) : name;
  return is_secret_name(telling) || std::ranges::any_of(prefixes_, [&](std::string const& prefix) {
           return is_or_is_below(path, prefix);
         });
}

void Secrets::learn(std::string_view secret) {
  for (std::string_view rest = secret; !rest.empty();) {
    std::string_view const line = rest.substr(0, rest.find_first_of("\r\n"));
    if (line.size() >= kShortest) known_.emplace(line);
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
  }
  if (secret.size() >= kShortest) known_.emplace(secret);
  index_.clear();
}

void Secrets::learn(Key const& root) {
  visit_tree(root, "", [&](KeyView const& key) {
    for (Value const* value : key.values) {
      if (!covers(key.path, value->name)) continue;
      for (std::string const& text : texts_of(*value)) learn(text);
    }
    return true;
  });
}

void Secrets::index() const {
  if (!index_.empty()) return;
  index_.reserve(known_.size());
  for (std::string const& secret : known_) {
    size_t within = index_.empty() ? kNone : index_.size() - 1;
    while (within != kNone && !secret.starts_with(index_[within].text)) {
      within = index_[within].within;
    }
    index_.push_back({secret, within});
  }
}

// The last one in order that is not behind the text begins with every secret that the text begins
// with; so it is that one or one of those within it.
size_t Secrets::secret_at(std::string_view text) const {
  auto const behind = std::ranges::upper_bound(index_, text, {}, &Known::text);
  if (behind == index_.begin()) return 0;
  size_t place = static_cast<size_t>(behind - index_.begin()) - 1;
  std::string_view const last = index_[place].text;
  auto const same = static_cast<size_t>(std::ranges::mismatch(last, text).in1 - last.begin());
  while (place != kNone && index_[place].text.size() > same) place = index_[place].within;
  return place == kNone ? 0 : index_[place].text.size();
}

std::string Secrets::hide(std::string_view text) const {
  if (known_.empty()) return std::string(text);
  index();
  std::string shown;
  while (!text.empty()) {
    size_t const length = secret_at(text);
    shown += length > 0 ? std::string_view(kHidden) : text.substr(0, 1);
    text.remove_prefix(std::max<size_t>(length, 1));
  }
  return shown;
}

void Secrets::mask(Key& root, std::string_view salt) const {
  std::string path;
  std::vector<size_t> parents;  // the lengths of the paths that lead to the current one
  auto const enter = [&](Key const& shown) {
    parents.push_back(path.size());
    if (!path.empty()) path += '\\';
    path += shown.name;
    Key& key = const_cast<Key&>(shown);  // a key of `root`
    for (size_t i = 0; i < key.values.size(); ++i) {
      Value& value = *key.values.find(key.values[i].name);
      if (covers(path, value.name)) value = {value.name, kMaskedValue, keyed_digest(value, salt)};
    }
  };
  auto const leave = [&](Key const&) {
    path.resize(parents.back());
    parents.pop_back();
  };
  walk(root, enter, leave);
}

}  // namespace zeva
