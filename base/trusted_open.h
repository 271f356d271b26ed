// Opening a file whose place somebody else may have a hand in: the console's user owns the web
// tree, and anybody may have prepared the folder that a log was asked for in. And telling whether
// somebody has.
//
// Usable in a signal handler and after a jump out of one: no heap, no locks.
#pragma once

#include <sys/types.h>

namespace zeva {

inline constexpr int kMaxLinks = 40;  // on one way, as many as the kernel follows

enum class Links {
  kOwn,   // those that this user or root has made are followed, and those of /proc
  kNone,  // none is followed
};

// Opens the file at a path, relative to the folder `at`, as openat does. Each link on the way is
// judged by its maker; one that may not be followed is ELOOP. Never waits, neither for the other
// end of a FIFO nor later: the descriptor is O_NONBLOCK, and O_CLOEXEC. Returns it, or -1 with
// errno.
[[nodiscard]] int open_trusted(int at, char const* path, int flags, mode_t mode, Links links);

// Whether this user or root has made what has this owner.
[[nodiscard]] bool is_trusted_owner(uid_t owner);

// Whether others can make no names in the folder, or with `enough` S_ISVTX, as in /tmp, replace
// none.
[[nodiscard]] bool is_closed_folder(char const* path, mode_t enough);

}  // namespace zeva
