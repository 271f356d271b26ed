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

// The bytes behind the last whole word. To copy a number of bytes that is not known beforehand
// takes longer than the rounds: where there is a whole word, what is too much of the last one is
// shifted out.
uint64_t rest_of(std::string_view name) {
  static_assert(std::endian::native == std::endian::little);
  uint64_t word = 0;
  size_t const size = name.size() % sizeof word;
  if (size == 0) return word;
  if (name.size() < sizeof word) {
    memcpy(&word, name.data(), size);
    return word;
  }
  memcpy(&word, name.data() + name.size() - sizeof word, sizeof word);
  return word >> 8 * (sizeof word - size);
}

}  // namespace

uint32_t name_hash(std::string_view name) {
  static HashKey const key = draw_key();
  State state{key.low ^ 0x736f6d6570736575, key.high ^ 0x646f72616e646f6d,
              key.low ^ 0x6c7967656e657261, key.high ^ 0x7465646279746573};

  uint64_t word;
  for (size_t at = 0; name.size() - at >= sizeof word; at += sizeof word) {
    memcpy(&word, name.data() + at, sizeof word);
    state.absorb(word);
  }
  state.absorb(rest_of(name) ^ uint64_t{name.size()} << 56);

  state.c ^= 0xff;
  for (int i = 0; i < 3; ++i) state.round();
  uint64_t const hash = state.a ^ state.b ^ state.c ^ state.d;
  return static_cast<uint32_t>(hash ^ hash >> 32);
}

}  // namespace zeva
