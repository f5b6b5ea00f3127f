// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <vector>

// A program as users run it, from its start to its end.

using CommandLine = std::vector<const char*>; ///< the program with its arguments

/// The seconds from the start to the end, with the output at a file; nothing if it fails.
[[nodiscard]] std::optional<double> run_command(const CommandLine& command, const char* output);

/// The most memory that the command holds, in kilobytes; 0 if it fails.
[[nodiscard]] double peak_kilobytes(const CommandLine& command);
