// The net under the importers: the policy database files are copied to the home's backup folder
// before them, and put back when they fail. Putting back works after the watchdog's jump: fixed
// buffers, system calls and system(), no heap.
#pragma once

// Copies the files that exist, after making the backup folder if it is missing. Returns 0, or -16
// when there can be no backup folder.
[[nodiscard]] int back_up_policy_files();

// Puts back what this run has backed up.
void restore_policy_files();
