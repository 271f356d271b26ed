// How client and server prove to each other that they know the cookie, without ever sending it:
// each gives the other a nonce and gets back an HMAC-SHA-256 of it, keyed with the cookie.
//
// A proof is good for one side of one connection: it covers who gives it, the server's port, the
// other's nonce and the giver's own. So none can be sent back, said again, or fetched from a server
// at another port.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <string_view>

namespace zeva {

inline constexpr size_t kSecretLength = 32;  // bytes of a cookie, of a nonce and of a proof

// A new cookie or nonce; empty when the system has no random bytes to give.
[[nodiscard]] std::string make_secret();

enum class Side { kServer, kClient };

// The proof that a side gives. Cookie and nonces are of kSecretLength.
[[nodiscard]] std::string make_proof(std::string_view cookie, Side giver, uint16_t port,
                                     std::string_view others_nonce, std::string_view own_nonce);

// Compares without telling by its time where two proofs differ.
[[nodiscard]] bool same_proof(std::string_view a, std::string_view b);

}  // namespace zeva
