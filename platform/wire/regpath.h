// Registry paths: components joined by backslashes. In normal form there is exactly one backslash
// between two components and none at the ends; the root is the empty path. Clients send normal
// form; the server checks again, since it trusts no client.
#pragma once

#include <stdint.h>

#include <string>
#include <string_view>

namespace zeva {

// Takes the next component off a path, skipping empty ones; empty at the end.
[[nodiscard]] std::string_view next_component(std::string_view& path);

// NVREG_OK, NVREG_NAME_TOO_LONG, or NVREG_BAD_NAME for a NUL or a backslash.
[[nodiscard]] int32_t check_name(std::string_view name);

// Appends a path to a base in normal form and gives the result in normal form. Fails with
// NVREG_PATH_TOO_LONG or as check_name; `joined` is then unusable.
[[nodiscard]] int32_t join_path(std::string_view base, std::string_view path, std::string& joined);

}  // namespace zeva
