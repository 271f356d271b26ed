// Where the gateway is installed.
#pragma once

#include <string>

namespace zeva {

// ZEVA_HOME, also when it is empty; "/opt/norva/zeva" when it is unset.
[[nodiscard]] std::string home_folder();

}  // namespace zeva
