// Two looks at a package before the run trusts it with what it is about to do.
#pragma once

namespace zeva {

// True when the package stands where the run makes its own files, at the path of the working copy
// or of the key file or below the unpack folder: the run would delete it.
[[nodiscard]] bool stands_in_the_way(char const* package, char const* working_copy,
                                     char const* key_file, char const* unpack_folder);

// False when checking the folder's md5.sum could wait or go on for ever: when the list, or a name
// in it, is or leads to a FIFO, a device or a file of /proc or its like, is "-", the standard
// input, or when there are more than 16 GiB to be read. Whatever else is listed is for md5sum to
// judge.
[[nodiscard]] bool checksum_list_is_safe(char const* folder);

}  // namespace zeva
