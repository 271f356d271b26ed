#include "regpath.h"

#include "nvreg.h"

namespace zeva {

std::string_view next_component(std::string_view& path) {
  size_t start = path.find_first_not_of('\\');
  if (start == path.npos) start = path.size();
  path.remove_prefix(start);
  std::string_view component = path.substr(0, path.find('\\'));
  path.remove_prefix(component.size());
  return component;
}

int32_t check_name(std::string_view name) {
  if (name.size() > NVREG_MAX_NAME) return NVREG_NAME_TOO_LONG;
  bool const is_refused = name.find('\\') != name.npos || name.find('\0') != name.npos;
  return is_refused ? NVREG_BAD_NAME : NVREG_OK;
}

int32_t join_path(std::string_view base, std::string_view path, std::string& joined) {
  joined = base;
  while (true) {
    std::string_view component = next_component(path);
    if (component.empty()) break;
    int32_t status = check_name(component);
    if (status < 0) return status;
    if (!joined.empty()) joined += '\\';
    joined += component;
    if (joined.size() > NVREG_MAX_PATH) return NVREG_PATH_TOO_LONG;
  }
  return joined.size() <= NVREG_MAX_PATH ? NVREG_OK : NVREG_PATH_TOO_LONG;
}

}  // namespace zeva
