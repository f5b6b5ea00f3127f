// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/firmware.h"

#include <cstdint>
#include <string>
#include <vector>

/// What keyloft-machine is asked to do.
struct MachineArguments {
    std::string text{};                 ///< to print and end: the help, the version; or empty
    std::vector<std::uint32_t> codes{}; ///< the machines to serve, at least one
    MachineFaults faults{};             ///< of each of them
};

/// Reads the arguments, given without the program's name. WrongArguments.
[[nodiscard]] MachineArguments read_arguments(const std::vector<std::string>& arguments);
