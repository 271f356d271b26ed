// The package on its way to the folder that the importers read: copied, decrypted, unpacked and
// checked, all under /tmp with fixed names.
#pragma once

namespace zeva {

inline constexpr char kPackageCopy[] = "/tmp/migrate_pkg";
inline constexpr char kUnpackFolder[] = "/tmp/migrate";
inline constexpr char kKeyFile[] = "/tmp/rc_key";

// The command that deciphers it, looked up in PATH.
inline constexpr char kDecipherCommand[] = "rc4";

// Copies, decrypts, unpacks and checks the package, logging each step. Returns 0, or the result of
// the step that failed: kNotCopied, kNoUnpackFolder, kNotDecrypted, kNotUnpacked or
// kChecksumsDoNotHold.
[[nodiscard]] int open_package(char const* package);

// Removes what open_package has made, except for the emptied unpack folder. Works after the
// watchdog's jump: system calls and system(), no heap.
void remove_opened_package();

// For an end at any moment, in a signal handler: the package key does not stay behind, and the
// result file gets its usual mode. System calls alone.
void abandon_package();

}  // namespace zeva
