// The migration run: from a package to the policy store, or back to where it started.
//
// The package is copied, decrypted, unpacked and verified under /tmp; the policy database files are
// backed up; the importers run under a watchdog (kWatchdogSeconds); when one fails, or the watchdog
// fires, what was backed up is put back. The registry server is always stopped at the end.
//
// After the watchdog's jump nothing that the jump may have interrupted is needed: restore, server
// stop and clean-up use fixed buffers, system calls and system(), and no heap.
#pragma once

// Runs the whole migration of the package at the path. Returns a code of results.h: its own, or
// that of the importer that failed.
[[nodiscard]] int migrate(char const* package);

// Handler of SIGALRM, the watchdog: jumps to the run's restore point.
[[noreturn]] void timeout(int number);

// True when the web console is not switched off (HOME/config/disable.webui does not exist).
bool is_web_enable();
