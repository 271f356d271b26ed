// The secrets that an export holds in the clear.
#pragma once

#include "secrets.h"

#include <string>

namespace zeva {

// Learns the values of an unpacked package whose names say that they are secrets, whether or not an
// importer reads them. Where whole keys of the store are secret it learns every value: which of
// them would be stored there is known after the run alone.
void learn_export(std::string const& folder, Secrets& secrets);

}  // namespace zeva
