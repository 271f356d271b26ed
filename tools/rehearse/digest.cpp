#include "digest.h"

#include "descriptor.h"
#include "text.h"

#include <nettle/base64.h>
#include <nettle/hmac.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace zeva {
namespace {

class Sha256 {
 public:
  Sha256() { sha256_init(&state_); }

  void add(std::string_view bytes) {
    sha256_update(&state_, bytes.size(), reinterpret_cast<uint8_t const*>(bytes.data()));
  }
  // With its length in front, so that no two sequences of fields are the same bytes.
  void add_field(std::string_view bytes) {
    add(std::to_string(bytes.size()) + ":");
    add(bytes);
  }
  std::string finish() {
    std::string digest(SHA256_DIGEST_SIZE, '\0');
    sha256_digest(&state_, digest.size(), reinterpret_cast<uint8_t*>(digest.data()));
    return digest;
  }

 private:
  sha256_ctx state_;
};

// What stands in a key, by name: digests of its values or of its subkeys.
using Parts = std::vector<std::pair<std::string_view, std::string>>;

void add_parts(Sha256& hash, Parts& parts) {
  std::ranges::sort(parts);
  hash.add_field(std::to_string(parts.size()));
  for (auto const& [name, digest] : parts) {
    hash.add_field(name);
    hash.add_field(digest);
  }
}

std::string value_digest(Value const& value) {
  Sha256 hash;
  hash.add_field(std::to_string(value.type));
  hash.add_field(value.data);
  return hash.finish();
}

std::string key_digest(Key const& key, Parts& subkeys) {
  Parts values;
  for (size_t i = 0; i < key.values.size(); ++i) {
    values.emplace_back(key.values[i].name, value_digest(key.values[i]));
  }
  Sha256 hash;
  add_parts(hash, values);
  add_parts(hash, subkeys);
  return hash.finish();
}

}  // namespace

std::optional<std::string> file_digest(std::string const& path) {
  // A pipe in its place is not waited for.
  Descriptor const file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return std::nullopt;
  Sha256 hash;
  char piece[64 * 1024];
  ssize_t length;
  while ((length = read(file.get(), piece, sizeof piece)) > 0) {
    hash.add({piece, static_cast<size_t>(length)});
  }
  if (length < 0) return std::nullopt;
  return to_hex(hash.finish());
}

std::string text_digest(std::string_view text) {
  Sha256 hash;
  hash.add(text);
  std::string const digest = hash.finish();
  std::string base64(BASE64_ENCODE_RAW_LENGTH(SHA256_DIGEST_SIZE), '\0');
  base64_encode_raw(base64.data(), digest.size(), reinterpret_cast<uint8_t const*>(digest.data()));
  return base64;
}

std::string store_digest(Key const& root) {
  std::vector<Parts> open;  // the finished subkeys of each key from the root to the current one
  std::string digest;
  auto const enter = [&](Key const&) { open.emplace_back(); };
  auto const leave = [&](Key const& key) {
    digest = key_digest(key, open.back());
    open.pop_back();
    if (!open.empty()) open.back().emplace_back(key.name, digest);
  };
  walk(root, enter, leave);
  return to_hex(digest);
}

std::string keyed_digest(Value const& value, std::string_view salt) {
  hmac_sha256_ctx hmac;
  hmac_sha256_set_key(&hmac, salt.size(), reinterpret_cast<uint8_t const*>(salt.data()));
  std::string const bytes = std::to_string(value.type) + ":" + value.data;
  hmac_sha256_update(&hmac, bytes.size(), reinterpret_cast<uint8_t const*>(bytes.data()));
  std::string digest(SHA256_DIGEST_SIZE, '\0');
  hmac_sha256_digest(&hmac, digest.size(), reinterpret_cast<uint8_t*>(digest.data()));
  return to_hex(digest);
}

}  // namespace zeva
