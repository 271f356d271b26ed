#include "product_home.h"

#include <stdlib.h>

namespace zeva {

char const* product_home() {
  char const* home = getenv("ZEVA_HOME");
  return home != nullptr ? home : "/opt/norva/zeva";
}

}  // namespace zeva
