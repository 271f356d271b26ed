// The outside work of the run, done by shell commands of which only the status is read. Everything
// here works after the watchdog's jump: fixed buffers, system calls and system(), no heap.
//
// Names are escaped for the shell; an ordinary name stands in the command as it is. A command that
// does not fit its buffer is not run and counts as failed.
#pragma once

#include "fixed_text.h"

namespace zeva {

// Runs a shell command: its raw status, 0 for success, or -1 when it could not be run. A command
// that the keyboard has interrupted ends the run as well.
[[nodiscard]] int run_shell(char const* command);

template <size_t Size>
[[nodiscard]] int run_shell(FixedText<Size> const& command) {
  return command.fits() ? run_shell(command.c_str()) : -1;
}

}  // namespace zeva

// Copies a file with its mode, owner and times, over the target if there is one ("cp -pf"). False
// when it failed or a path is null.
[[nodiscard]] bool copyfile(char const* source, char const* target);

// Removes every entry of a folder and leaves the folder; true when nothing is left in it. A folder
// that cannot be read, that is reached through a link or that belongs to somebody else is silently
// left alone.
[[nodiscard]] bool delete_all_files_in_folder(char const* folder);

// True when the process list has a line that contains the name. A name of more than 32 bytes is not
// looked for.
[[nodiscard]] bool _find_process(char const* name);
