// The machine that a migration is to run on: what on it would make the run fail, whatever the
// package holds.
//
// Seen with the real eyes, before the sandbox hides the machine.
#pragma once

#include "finding.h"

#include <stdint.h>

#include <span>
#include <string>
#include <vector>

namespace zeva {

// A disk that the run writes to.
struct Disk {
  std::string folder;  // on it
  uint64_t number = 0;
  uint64_t room = UINT64_MAX;  // bytes for this user
};

struct Target {
  std::vector<Finding> findings;  // about a path of the machine, which stands for the file
  Disk tmp, home;
};

// Looks at the machine as a run on a home would find it, started by this user in this folder. Only
// reads.
[[nodiscard]] Target look_at_target(std::string const& home);

// What a run needs room for, in bytes.
struct Burden {
  uint64_t package = 0;   // copied and deciphered under /tmp, once beside a second copy
  uint64_t unpacked = 0;  // its export, under /tmp beside the first copy
  uint64_t store = 0;     // its files, copied into the backup folder
};

// Adds a finding for each disk that has no room. The server's log of changes is taken to grow by
// the size of the export, run log and result file by a mebibyte.
void report_room(Target const& target, Burden const& burden, std::vector<Finding>& findings);

// A target as texts, to hand it into the sandbox.
[[nodiscard]] std::vector<std::string> texts_of(Target const& target);
[[nodiscard]] Target target_of(std::span<std::string const> texts);

}  // namespace zeva
