// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/firmware.h"

#include <string>
#include <vector>

/// One machine of keyloft-raw-machine: DEVICE=CODE or DEVICE=CODE@GADGET.
struct RawPlace {
    std::string device;
    std::uint32_t code;
    std::string gadget; ///< may be empty
};

/// What keyloft-raw-machine is asked to do.
struct RawArguments {
    bool help = false;              ///< print the help, and nothing else
    std::vector<RawPlace> places{}; ///< at least one
    std::string journal{};          ///< empty: standard output
    bool plays = false;             ///< parts are moved on SIGUSR2
    MachineFaults faults{};
};

/// Reads the arguments, given without the program's name. WrongArguments.
[[nodiscard]] RawArguments read_raw_arguments(const std::vector<std::string>& arguments);

/// What --help prints.
[[nodiscard]] std::string raw_help_text();
