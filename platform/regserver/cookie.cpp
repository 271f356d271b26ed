#include "cookie.h"

#include "files.h"
#include "proof.h"

#include <errno.h>
#include <string.h>

namespace zeva {

std::string make_cookie(std::string const& path, std::string& why) {
  std::string cookie = make_secret();
  int error = cookie.empty() ? errno : 0;
  if (error == 0) error = write_new_file(path + ".new", cookie);
  if (error == 0) error = rename_file(path + ".new", path);
  if (error == 0) return cookie;
  why = path + ": " + strerror(error);
  return {};
}

}  // namespace zeva
