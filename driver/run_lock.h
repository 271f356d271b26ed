// One run at a time: two runs on a machine would unpack into the same folder of /tmp, two runs on a
// home would mix two stores.
//
// A run locks a file of its own in both places. The locks end with the process, however it ends,
// and with the last command that it has started: what an ended run's tar or rc4 still writes must
// not come into the next one's export. No other user can open the files, so nobody else can hold up
// a run.
#pragma once

#include <sys/types.h>

namespace zeva {

// Takes both locks. False when another run holds one: `holder` is then its process, or 0 when a
// command of an ended run still holds one after ten seconds, or root's lock file cannot be opened.
// Where there can be no lock file, the run goes on without that lock: it fails later, where it is
// understood why.
[[nodiscard]] bool take_run_lock(pid_t& holder);

// The run that holds the lock of the machine or of a home, 0 if there is none, kUnknownRun where a
// lock's file is one that take_run_lock() could not open. Takes and changes neither.
inline constexpr pid_t kUnknownRun = -1;
[[nodiscard]] pid_t active_run(char const* home);

// Whether the commands started from now on hold the locks, too, as they do at first. One that
// leaves a server behind must not.
void share_run_lock(bool shared);

// Removes the files that this run has locked. The locks are held until the process ends. Usable in
// a signal handler and after the watchdog's jump.
void remove_run_lock();

}  // namespace zeva
