// The end of the process: every run ends here, and the web console learns the result.
#pragma once

// Writes the result file, HOME/xhtml/en/download/mig_result, and ends the process with the code, of
// which a shell sees the low eight bits. A result file that cannot be written is not reported.
// Usable in a signal handler and after the watchdog's jump.
[[noreturn]] void my_exit(int code);
