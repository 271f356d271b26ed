// One run at a time: two runs on a machine would unpack into the same folder of /tmp, two runs on a
// home would mix two stores.
//
// A run locks a file of its own in both places. The locks end with the process, however it ends,
// are not handed on to the commands that it starts, and tell whose they are. No other user can open
// the files, so nobody else can hold up a run.
#pragma once

#include <sys/types.h>

// Takes both locks. False when another run holds one: `holder` is then its process. Where there can
// be no lock file, the run goes on without that lock: it fails later, where it is understood why.
[[nodiscard]] bool take_run_lock(pid_t& holder);

// Removes the files that this run has locked. The locks are held until the process ends. Usable in
// a signal handler.
void remove_run_lock();
