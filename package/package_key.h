// The key of settings packages: fixed, and the same in every installation, so that a package made
// on one machine opens on another. It keeps a package from being read by accident; it keeps no
// secret from anyone who has this program.
#pragma once

#include <array>

namespace zeva {

inline constexpr std::array<unsigned char, 16> kPackageKey = {
    0x7a, 0x1d, 0xe4, 0x93, 0x5b, 0xc8, 0x06, 0xaf, 0x32, 0xd9, 0x4e, 0x81, 0xf5, 0x60, 0x2c, 0xb7};

}  // namespace zeva
