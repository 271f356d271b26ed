// Starting, stopping and finding the registry server. Everything here works after the watchdog's
// jump: fixed buffers, system calls and system(), no heap.
#pragma once

namespace zeva {

// The server's name in the process list.
inline constexpr char kRegServerProcess[] = "regserver";

}  // namespace zeva

// Starts the server with its service script, stopping one that runs already, and waits up to about
// 110 s until it shows in the process list. False only when the script failed: a server that never
// shows counts as started.
[[nodiscard]] bool StartRegServer();

// Stops the server with its service script and waits up to about 122 s until it has left the
// process list. False, after logging it, when the script could not be run or the server stays: the
// run ends as it would all the same.
[[nodiscard]] bool StopRegServer();
