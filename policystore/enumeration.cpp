#include "enumeration.h"

#include <string.h>

namespace zeva {

int32_t append_names(Enumerator next, _NvPolComHandle* parent, std::vector<std::string>& names,
                     bool& at_first, uint32_t name_size) {
  std::vector<char> name(name_size);
  for (uint32_t index = 0;; ++index) {
    uint32_t length = name_size;
    int32_t status = 0;
    next(parent, index, name.data(), &length, &status);
    at_first = index == 0;
    if (status < 0) return status;
    names.emplace_back(name.data(), strnlen(name.data(), name_size));
  }
}

}  // namespace zeva
