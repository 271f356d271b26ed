#include "updatelog.h"

#include <stdio.h>
#include <time.h>

int writelog(std::string const& folder, std::string const& message) {
  FILE* log = fopen((folder + "/log/updatelog.debug").c_str(), "a");
  if (log == nullptr) return -1;
  time_t now = time(nullptr);
  tm local;
  localtime_r(&now, &local);
  char when[64];
  strftime(when, sizeof when, "%a %b %m/%d/%y %H:%M%p", &local);
  fprintf(log, "%s   %s", when, message.c_str());
  fclose(log);
  return 0;
}
