// Splitting and trimming of texts, for programs that work on the policy store beside the migration,
// the console's and the gateway's own. All results are 0 for success and -1 for failure.
#pragma once

#include <string>

// Split at the first, or last, occurrence of a separator. `second` starts one character after the
// start of the separator, so a longer separator leaves its rest there. -1 with the outputs
// untouched when the source is empty or does not hold the separator.
[[nodiscard]] int splitstring(std::string const& source, std::string& first, std::string& second,
                              char const* separator);
[[nodiscard]] int splitstringr(std::string const& source, std::string& first, std::string& second,
                               char const* separator);

// Appends what stands before and after the address's first "@" to the outputs; -1 with the outputs
// untouched when there is none.
[[nodiscard]] int divide(std::string const& address, std::string& local_part, std::string& domain);

// Removes leading blanks and tabs and trailing blanks. A trailing tab stays, and so do the blanks
// before it.
int Nvtrim(std::string& text);
