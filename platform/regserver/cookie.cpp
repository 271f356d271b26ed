#include "cookie.h"

#include <errno.h>
#include <string.h>
#include <sys/random.h>

#include "files.h"
#include "frame.h"

namespace zeva {

std::string make_cookie(std::string const& path, std::string& why) {
  std::string cookie(kCookieLength, '\0');
  // So few bytes come whole or not at all.
  int error = getrandom(cookie.data(), cookie.size(), 0) < 0 ? errno : 0;
  if (error == 0) error = write_new_file(path + ".new", cookie);
  if (error == 0) error = rename_file(path + ".new", path);
  if (error == 0) return cookie;
  why = path + ": " + strerror(error);
  return {};
}

bool same_cookie(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  int difference = 0;
  for (size_t i = 0; i < a.size(); ++i) difference |= a[i] ^ b[i];
  return difference == 0;
}

}  // namespace zeva
