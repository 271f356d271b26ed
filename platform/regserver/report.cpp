#include "report.h"

#include "files.h"

#include <fcntl.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

namespace zeva {

namespace {

std::string report_file;

std::string now() {
  time_t const seconds = time(nullptr);
  tm local;
  localtime_r(&seconds, &local);
  char text[32];
  strftime(text, sizeof text, "%Y/%m/%d %H:%M:%S", &local);
  return text;
}

}  // namespace

void set_report_file(std::string const& path) {
  report_file = path;
}

// A line that cannot be written is lost: there is nobody left to tell.
void report(std::string const& line) {
  (void)write_all(STDERR_FILENO, "regserver: " + line + "\n");
  if (report_file.empty()) return;
  Descriptor file(open(report_file.c_str(),
                       O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  if (file) (void)write_all(file.get(), "[" + now() + "] " + line + "\n");
}

}  // namespace zeva
