// The cookie: who can read its file gets into the server, and the server proves itself by it.
#pragma once

#include <string>

namespace zeva {

// Makes a new cookie and puts it into a file of mode 0600. Empty on failure, and `why` says the
// reason.
[[nodiscard]] std::string make_cookie(std::string const& path, std::string& why);

}  // namespace zeva
