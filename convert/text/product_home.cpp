#include "product_home.h"

#include <stdio.h>
#include <stdlib.h>

namespace zeva {

char const* product_home() {
  char const* home = getenv("ZEVA_HOME");
  return home != nullptr ? home : "/opt/norva/zeva";
}

}  // namespace zeva

char const* gethomepath() {
  static char home[256];
  snprintf(home, sizeof home, "%s", zeva::product_home());
  return home;
}
