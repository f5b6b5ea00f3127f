// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/firmware.h"

#include <cstdint>
#include <string>
#include <vector>

/// What keyloft-machine is asked to do.
struct MachineArguments {
    enum class Task : std::uint8_t { serve, help, version };
    Task task = Task::serve;
    std::vector<std::uint32_t> codes{}; ///< the machines to serve, at least one
    MachineFaults faults{};             ///< of each of them
};

/// Reads the arguments, given without the program's name. WrongArguments.
[[nodiscard]] MachineArguments read_arguments(const std::vector<std::string>& arguments);

/// What --help prints.
[[nodiscard]] std::string help_text();
