// The address groups of an export: named lists of mail addresses.
#pragma once

#include "nvaddresslist.h"

#include <string>

// Creates the empty address list `name`; the display name is cut at 256 bytes, the comment at 512.
// False when it cannot be created, after logging why.
[[nodiscard]] bool add_addr_group(NvAddresslist& list, std::string const& name,
                                  std::string const& displayName, std::string const& comment);
