#include "home.h"

#include <stdio.h>
#include <stdlib.h>

char const* gethomepath() {
  static char home[256];
  char const* set = getenv("ZEVA_HOME");
  snprintf(home, sizeof home, "%s", set != nullptr ? set : "/opt/norva/zeva");
  return home;
}
