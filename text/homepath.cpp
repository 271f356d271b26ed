#include "homepath.h"

#include "product_home.h"

#include <stdio.h>

char const* gethomepath() {
  static char home[256];
  snprintf(home, sizeof home, "%s", zeva::product_home());
  return home;
}
