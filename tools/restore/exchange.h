// Store files that take the place of others, so that whatever ends this program or the machine
// meanwhile leaves a store that is wholly the former or wholly the new one.
#pragma once

#include "store_copy.h"

#include <sys/stat.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace zeva {

// The files of a store, and whose they are, how closed and how old.
struct StoreFiles {
  StoreCopy bytes;
  std::array<struct stat, 3> about = {};
};

// Reads the files in a folder. Returns why they cannot be read, nothing when they were.
[[nodiscard]] std::optional<std::string> read_files(std::string const& folder, StoreFiles& files);

// Writes the files into a folder, with their owners, modes and times; they are on the disk when it
// returns. Returns why they cannot be written.
[[nodiscard]] std::optional<std::string> write_files(std::string const& folder,
                                                     StoreFiles const& files);

// Keeps the files under a new name in the folder `config`, that says when. They are made in `work`,
// a private folder below it. Returns why they cannot be kept; `kept` is the name once it is there.
[[nodiscard]] std::optional<std::string> keep_files(StoreFiles const& files,
                                                    std::string const& config,
                                                    std::string const& work, std::string& kept);

// Puts the files of the folder `made` in place of those in `config`, one after the other. `whole`,
// if it is not empty, is a snapshot there that holds by itself what the files hold together, and
// whose generation is above those of the logs on both sides, so that none counts beside it: between
// the other files, which belong together, it stands in for the snapshot. Returns why it ended
// early; `begun` says whether anything has been replaced.
[[nodiscard]] std::optional<std::string> put_in_place(std::string const& made,
                                                      std::string const& config,
                                                      std::string const& whole, bool& begun);

}  // namespace zeva
