// The sandbox of a rehearsal: its own /tmp, process list and network; everything else is only read.
//
// Nothing in it outlives it, and it ends with the process that started it, whatever ends that one.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace zeva {

// The scratch home in the sandbox, and the folder for everything else that a rehearsal makes there.
inline constexpr char kScratchFolder[] = "/tmp/.zeva-rehearsal";
inline constexpr char kScratchHome[] = "/tmp/.zeva-rehearsal/home";

// What the process that enter_sandbox has started was given as subject; nothing in any other.
[[nodiscard]] std::optional<std::string> sandboxed_subject();

// Becomes the sandbox with this program in it again, run with the arguments. Its scratch home has
// the programs and libraries of the installation; the visible files and folders are seen at their
// own paths even if these lie in /tmp. The subject is handed on out of sight: the run looks for its
// server's name in the process list, and arguments stand there. Returns only on failure, with errno
// set.
void enter_sandbox(std::string const& installation, std::vector<std::string> const& visible,
                   std::string const& subject, std::vector<std::string> const& arguments);

}  // namespace zeva
