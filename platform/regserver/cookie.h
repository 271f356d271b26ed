// The cookie: who can read its file gets into the server.
#pragma once

#include <string>
#include <string_view>

namespace zeva {

// Makes a new cookie and puts it into a file of mode 0600. Empty on failure, and why says the
// reason.
[[nodiscard]] std::string make_cookie(std::string const& path, std::string& why);

// Compares without telling by its time where two cookies differ.
[[nodiscard]] bool same_cookie(std::string_view a, std::string_view b);

}  // namespace zeva
