// The hash behind the indexes of names.
#pragma once

#include <cstdint>
#include <string_view>

namespace zeva {

// SipHash-1-3 of the name under a key drawn at the first call, folded to 32 bits. Keyed, so that
// neither an export file nor a client's calls can be made of names that all collide; the value
// differs from run to run and must never be stored.
[[nodiscard]] uint32_t name_hash(std::string_view name);

}  // namespace zeva
