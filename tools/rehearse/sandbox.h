// The sandbox of a rehearsal: its own /tmp, process list and network; everything else is only read.
//
// Nothing in it outlives it, and it ends with the process that started it, whatever ends that one.
#pragma once

#include <signal.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zeva {

// The scratch home in the sandbox, and the folder for everything else that a rehearsal makes there.
inline constexpr char kScratchFolder[] = "/tmp/.zeva-rehearsal";
inline constexpr char kScratchHome[] = "/tmp/.zeva-rehearsal/home";

// What is seen in the sandbox, and where.
using Visible = std::vector<std::pair<std::string, std::string>>;

// What the process that run_in_sandbox has started was given as `arguments`; nothing in any other.
[[nodiscard]] std::optional<std::vector<std::string>> sandboxed_arguments();

// Signals that end this process wait from here on, so that it can take back what it makes; then
// they end the sandbox instead. Returns the signal mask before.
sigset_t hold_ending_signals();

// Runs this program again in the sandbox and returns its exit status. Its scratch home has the
// programs and libraries of the installation; what is visible is seen even if it lies in /tmp. The
// arguments are handed on out of sight: the run looks for its server's name in the process list.
// `mask` is the signal mask that hold_ending_signals has returned. Returns -1 with errno set when
// there can be no sandbox.
[[nodiscard]] int run_in_sandbox(std::string const& installation, Visible const& visible,
                                 std::vector<std::string> const& arguments, sigset_t const& mask);

}  // namespace zeva
