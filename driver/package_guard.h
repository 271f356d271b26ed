// Two looks at a package before the run trusts it with what it is about to do.
#pragma once

// True when the package is, or lies where, the run makes its own files: at the working copy's path
// or below the unpack folder. The run would delete it.
[[nodiscard]] bool run_would_delete(char const* package, char const* working_copy,
                                    char const* unpack_folder);

// True when every file that the folder's md5.sum names, and the list itself, is missing or a regular
// file of the folder, reached without a link and without "..". md5sum opens whatever is listed, and
// would read a device or wait at a FIFO for ever.
[[nodiscard]] bool checksum_list_is_safe(char const* folder);
