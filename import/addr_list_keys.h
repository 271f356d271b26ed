// The file of address lists.
#pragma once

#include "export_keys.h"

namespace zeva {

inline constexpr ExportKey kAddressListCount = {"Num", VALUE_NUMBER, Fate::kUsed};

inline constexpr ExportKey kAddressListName = {"Name", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kAddressListShownName = {"displayName", VALUE_TEXT, Fate::kShownName};
inline constexpr ExportKey kAddressListComment = {"comment", VALUE_TEXT, Fate::kRemark};
inline constexpr ExportKey kAddresses = {"address", VALUE_TEXT, Fate::kUsed};
inline constexpr ExportKey kAddressListKeys[] = {kAddressListName, kAddressListShownName,
                                                 kAddressListComment, kAddresses};
inline constexpr ExportSection kAddressList = {"addressList%d", kAddressListKeys,
                                               "registry\\policy\\AddressList"};

inline constexpr ExportSection kAddressListSections[] = {{kCommon, kAddressListCount},
                                                         kAddressList};

}  // namespace zeva
