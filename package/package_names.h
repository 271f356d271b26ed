// The names that a package has at its top.
#pragma once

namespace zeva {

// What a migration looks for, in this order; a file's keys stand beside its importer. The files of
// policies below the top one, and of tasks, are named in policy files.
inline constexpr char kActionIndex[] = "actionFile.txt";
inline constexpr char kExceptionFile[] = "excepton.txt";
inline constexpr char kScanLimitFile[] = "scanlimit.txt";
inline constexpr char kQuarantineFile[] = "quarantine.txt";
inline constexpr char kTopPolicyFile[] = "globalPolicy.txt";
inline constexpr char kExtraFilterFile[] = "xfilter.txt";
inline constexpr char kAddressListFile[] = "address.txt";
inline constexpr char kSingleValueFile[] = "misc.txt";
inline constexpr char const* kTopFiles[] = {kActionIndex,     kExceptionFile,  kScanLimitFile,
                                            kQuarantineFile,  kTopPolicyFile,  kExtraFilterFile,
                                            kAddressListFile, kSingleValueFile};

inline constexpr char kActionFile[] = "action%d.txt";  // the index says how many

inline constexpr char kChecksumFile[] = "md5.sum";

}  // namespace zeva
