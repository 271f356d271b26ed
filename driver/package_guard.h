// Two looks at a package before the run trusts it with what it is about to do.
#pragma once

// True when the package stands where the run makes its own files, at the path of the working copy
// or of the key file or below the unpack folder: the run would delete it.
[[nodiscard]] bool stands_in_the_way(char const* package, char const* working_copy,
                                     char const* key_file, char const* unpack_folder);

// True when every file that the folder's md5.sum names, and the list itself, is missing or a
// regular file of the folder, reached without a link and without "..". md5sum opens whatever is
// listed, and would read a device or wait at a FIFO for ever.
[[nodiscard]] bool checksum_list_is_safe(char const* folder);
