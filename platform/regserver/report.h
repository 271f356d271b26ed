// What an administrator should know of the server: a line on standard error and, since nobody sees
// that of a server in the background, in the file config/registry.log below the home.
#pragma once

#include <string>

namespace zeva {

// From now on lines go into the file, too.
void set_report_file(std::string const& path);

void report(std::string const& line);

}  // namespace zeva
