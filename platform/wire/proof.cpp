#include "proof.h"

#include <nettle/hmac.h>
#include <nettle/memops.h>

#include <sys/random.h>

namespace zeva {

static_assert(kSecretLength == SHA256_DIGEST_SIZE);

namespace {

void update(hmac_sha256_ctx& hmac, std::string_view bytes) {
  hmac_sha256_update(&hmac, bytes.size(), reinterpret_cast<uint8_t const*>(bytes.data()));
}

}  // namespace

std::string make_secret() {
  std::string secret(kSecretLength, '\0');
  // So few bytes come whole or not at all.
  return getrandom(secret.data(), secret.size(), 0) < 0 ? std::string() : secret;
}

// All but the label is of fixed length, so that no two proofs are of the same bytes.
std::string make_proof(std::string_view cookie, Side giver, uint16_t port,
                       std::string_view others_nonce, std::string_view own_nonce) {
  char const port_bytes[] = {static_cast<char>(port & 0xff), static_cast<char>(port >> 8)};
  hmac_sha256_ctx hmac;
  hmac_sha256_set_key(&hmac, cookie.size(), reinterpret_cast<uint8_t const*>(cookie.data()));
  update(hmac, giver == Side::kServer ? "zeva server" : "zeva client");
  update(hmac, {port_bytes, sizeof port_bytes});
  update(hmac, others_nonce);
  update(hmac, own_nonce);
  std::string proof(kSecretLength, '\0');
  hmac_sha256_digest(&hmac, proof.size(), reinterpret_cast<uint8_t*>(proof.data()));
  return proof;
}

bool same_proof(std::string_view a, std::string_view b) {
  return a.size() == b.size() && memeql_sec(a.data(), b.data(), a.size()) != 0;
}

}  // namespace zeva
