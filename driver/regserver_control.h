// Starting, stopping and finding the registry server.
#pragma once

#include <string>

// The server's name in the process list.
constexpr char kRegServerProcess[] = "regserver";

// Starts the server with its service script, stopping one that runs already, and waits up to about
// 110 s until it shows in the process list. False only when the script failed: a server that never
// shows counts as started.
bool StartRegServer();

// Stops the server with its service script and waits up to about 122 s until it has left the
// process list. False when the script could not be run or the server stays. No heap.
bool StopRegServer();

// Reads the server's port from HOME/bin/migration/RegSvrCfg.ini, as it stands there. Returns 0, or
// -1 with the port untouched.
int getregport(char const* home, std::string& port);
