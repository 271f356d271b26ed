// Names for new objects, and for numbered patterns: for programs that work on the policy store
// beside the migration, the console's and the gateway's own.
#pragma once

#include <string>

// Draws a new internal name, a decimal number that does not occur anywhere within the text of the
// names in use. The draws are the same in every run. Returns 0.
int gen_iname(std::string& name, std::string const& names_in_use);

// Shows a pattern number: 1234567 as "12.345.67", 45 as "0.45", 7 as "7". Returns 0.
int getpatshowname(unsigned long pattern, std::string& name);
