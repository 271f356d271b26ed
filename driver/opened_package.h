// The package on its way to the folder that the importers read: copied, decrypted, unpacked and
// checked, all under /tmp with fixed names. Clean-up works after the watchdog's jump: fixed
// buffers, system calls and system(), no heap.
#pragma once

inline constexpr char kPackageCopy[] = "/tmp/migrate_pkg";
inline constexpr char kUnpackFolder[] = "/tmp/migrate";
inline constexpr char kKeyFile[] = "/tmp/rc_key";

// Copies, decrypts, unpacks and checks the package, logging each step. Returns 0, or the result of
// the step that failed: -4, -2, -3, -5 or -6 (see migrate.h).
[[nodiscard]] int open_package(char const* package);

// Removes what open_package has made, except for the emptied unpack folder.
void remove_opened_package();

// For an end at any moment, in a signal handler: the package key does not stay behind, and the
// result file gets its usual mode.
void abandon_package();
