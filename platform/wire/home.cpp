#include "home.h"

#include <stdlib.h>

namespace zeva {

std::string home_folder() {
  char const* home = getenv("ZEVA_HOME");
  return home ? home : "/opt/norva/zeva";
}

}  // namespace zeva
