// Where the gateway is installed.
#pragma once

#include <stdlib.h>

// ZEVA_HOME as it stands (an empty one counts as set), or the standard place when it is unset.
inline char const* product_home() {
  char const* home = getenv("ZEVA_HOME");
  return home != nullptr ? home : "/opt/norva/zeva";
}
