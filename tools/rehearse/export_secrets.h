// The secrets that an export holds in the clear.
#pragma once

#include "secrets.h"

#include <string>

namespace zeva {

// Learns the values of an unpacked package whose names say that they are secrets, or that would be
// stored where all is secret, whether or not an importer reads them.
void learn_export(std::string const& folder, Secrets& secrets);

}  // namespace zeva
