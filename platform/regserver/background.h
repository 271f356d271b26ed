// Starting in the background: the caller's process ends once the server answers or has failed.
#pragma once

namespace zeva {

// Returns in a child process of its own session, which holds none of the caller's files but whose
// standard error still reaches the caller. The caller's process never returns: it passes on what
// the child reports and exits with 0 after background_ready(), with 1 when the child ends without.
void go_to_background();

// Lets the caller's process exit; standard error is "/dev/null" from here on.
void background_ready();

}  // namespace zeva
