#include "namehash.h"

#include <string.h>
#include <sys/random.h>

#include <bit>

namespace zeva {

namespace {

struct HashKey {
  uint64_t low = 0, high = 0;
};

// A key that cannot be drawn stays zero: lookups are as right, only no longer unpredictable.
HashKey draw_key() {
  HashKey key;
  if (getrandom(&key, sizeof key, GRND_NONBLOCK) != sizeof key) key = {};
  return key;
}

struct State {
  uint64_t a, b, c, d;

  void round() {
    a += b, b = std::rotl(b, 13) ^ a, a = std::rotl(a, 32);
    c += d, d = std::rotl(d, 16) ^ c;
    a += d, d = std::rotl(d, 21) ^ a;
    c += b, b = std::rotl(b, 17) ^ c, c = std::rotl(c, 32);
  }

  void absorb(uint64_t word) {
    d ^= word;
    round();
    a ^= word;
  }
};

}  // namespace

uint32_t name_hash(std::string_view name) {
  static HashKey const key = draw_key();
  State state{key.low ^ 0x736f6d6570736575, key.high ^ 0x646f72616e646f6d,
              key.low ^ 0x6c7967656e657261, key.high ^ 0x7465646279746573};

  uint64_t const length = name.size();
  uint64_t word;
  for (; name.size() >= sizeof word; name.remove_prefix(sizeof word)) {
    memcpy(&word, name.data(), sizeof word);
    state.absorb(word);
  }
  word = 0;
  if (!name.empty()) memcpy(&word, name.data(), name.size());
  state.absorb(word ^ length << 56);

  state.c ^= 0xff;
  for (int i = 0; i < 3; ++i) state.round();
  uint64_t const hash = state.a ^ state.b ^ state.c ^ state.d;
  return static_cast<uint32_t>(hash ^ hash >> 32);
}

}  // namespace zeva
