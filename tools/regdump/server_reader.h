// Reads the registry from a running registry server.
#pragma once

#include "registry_view.h"

#include <stdint.h>

#include <string>

namespace zeva {

// Visits the key at a path and all below it, depth first in store order. Keys that others delete
// meanwhile are left out. Returns NVREG_OK, NVREG_NOT_FOUND when there is no key at the path, or
// the status of what failed.
[[nodiscard]] int32_t visit_server(std::string const& address, std::string const& path,
                                   KeyVisitor const& visit);

}  // namespace zeva
