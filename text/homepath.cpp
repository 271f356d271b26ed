#include "homepath.h"

#include <stdio.h>

#include "product_home.h"

char const* gethomepath() {
  static char home[256];
  snprintf(home, sizeof home, "%s", zeva::product_home());
  return home;
}
