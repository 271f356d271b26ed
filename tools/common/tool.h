// What the main function of every tool begins and ends with.
//
// Exit status, where a tool does not say otherwise: 0 done, 1 it could not be done, 2 wrong command
// line, 128 and the signal's number when a signal ended it.
#pragma once

#include <CLI/CLI.hpp>

#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace zeva {

inline constexpr int kFailed = 1;
inline constexpr int kWrongUsage = 2;

// Adds --version and parses. Returns the status to exit with, or nothing when the tool is to run.
[[nodiscard]] std::optional<int> parse_command_line(CLI::App& app, int argc, char** argv);

// One line on standard error: program, what it is about, why. Returns kFailed.
int complain(std::string_view subject, std::string_view why);

// What an exception says to a person, as long as it lives.
[[nodiscard]] char const* reason_of(std::exception const& error);

// Says what an exception ended the program with. Returns kFailed.
int complain_of(std::exception const& error);

// The folder that this program's file is in, without a final slash, when that is known.
[[nodiscard]] std::optional<std::string> own_folder();

// Makes the commands that are installed beside this one come first in PATH.
void prefer_own_commands();

}  // namespace zeva
