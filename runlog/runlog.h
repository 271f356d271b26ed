// The run log: the file that an administrator reads to learn what a migration did.
//
// Every line is opened by the local time, the process id and the thread id, and its message is
// echoed to standard output. The file is opened and closed for each line, so a line that was logged
// is in the file whatever happens next.
//
// Usable after a jump out of a signal handler: while a line is put into the file the run's signals
// are held back, so that a jump never leaves one half written. Nothing here uses a stream, and only
// the first line of a run the heap, for the time zone.
#pragma once

// Sets the run log's path, cut at 1023 bytes. Until then it is "migration.log". A link that neither
// this user nor root has made is not followed, nor is the reader of a stranger's pipe waited for; a
// pipe of one's own gets every line, however long its reader takes.
//
// A relative path is taken relative to the working directory of each line. Once that is another one
// than now it belongs to the package: no link is followed there, and nothing waited for.
void SetDebugLogFileName(char const* path);

// Appends one line, printf-style; the message is cut at 2047 bytes. When the log cannot be opened
// the message is dropped, on standard output too. The first line that does not reach the log is
// reported on standard error, with the reason.
void LogDebugMessage(char const* format, ...) __attribute__((format(printf, 1, 2)));

namespace zeva {

// Brings the log to the disk: after a power cut it says how far the run had come.
void sync_debug_log();

}  // namespace zeva
