// The net under the importers: before them the policy database files are copied to the home's
// backup folder, and their bytes are held in memory for what cannot be copied; when they fail, all
// is put back. Putting back works after the watchdog's jump: fixed buffers, system calls and
// system(), no heap.
#pragma once

namespace zeva {

// Copies the files that exist, after making the backup folder if it is missing. The copies are on
// the disk when it returns. Returns 0, or kNoBackup when there can be no backup folder, or when a
// file can be neither copied nor held.
[[nodiscard]] int back_up_policy_files();

// Puts back what this run has backed up; it is on the disk afterwards.
void restore_policy_files();

// To be called once the registry server is gone, which may have written over what was put back:
// puts it back once more where it differs. Logs each file that is still not what it was.
void check_restored_policy_files();

}  // namespace zeva
