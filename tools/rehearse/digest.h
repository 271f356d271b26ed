// Digests by which a plan knows a package and a store again.
#pragma once

#include "tree.h"

#include <optional>
#include <string>
#include <string_view>

namespace zeva {

// SHA-256 in lower-case hex, as sha256sum prints it; nothing, with errno set, when the file cannot
// be read.
[[nodiscard]] std::optional<std::string> file_digest(std::string const& path);

// SHA-256 of a text in base64, by which a page's content policy names it.
[[nodiscard]] std::string text_digest(std::string_view text);

// SHA-256 of what a store holds: names, types and data, whatever the order of their creation and
// the files that they stand in.
[[nodiscard]] std::string store_digest(Key const& root);

// HMAC-SHA-256 of a value's type and data: two values can be compared by it. Who knows the salt can
// try out what a weak secret may be.
[[nodiscard]] std::string keyed_digest(Value const& value, std::string_view salt);

}  // namespace zeva
