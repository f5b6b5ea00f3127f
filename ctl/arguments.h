// SPDX-License-Identifier: MIT
#pragma once

#include "ctl/argument_values.h"
#include "simulation/firmware.h"

#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

enum class Command : std::uint8_t { list, set, save, check, apply, keep, watch, identify, doctor };

/// What keyloftctl is asked to do. All numbers are in their ranges.
struct Request {
    Command command = Command::list;
    std::optional<MachineChoice> machine{};
    protocol::KeyMapping mapping{}; ///< of set
    /// Of check, apply and keep, at least one; of identify the one of --layout, if it is given.
    std::vector<std::string> files{};
    std::vector<std::string> then{}; ///< identify: the file of --then, if it is given
    bool save = false;               ///< set, apply: save afterwards
    bool available = false;          ///< apply: leave out the machines that cannot be set up
    bool gentle = false;             ///< set, save, apply: wait the full time behind each command
    bool is_agreed = false;          ///< identify: need not ask
    bool json = false;
    std::optional<std::vector<std::uint32_t>> demo{}; ///< the simulated machines, at least one
    MachineFaults faults{};                           ///< of the simulated machines
};

/// Nothing is to be done but to print a text: the help or the version on standard output
/// (status 0), or what is wrong with the arguments on standard error (status 2).
struct ArgumentsEnd {
    int status = 0;
    std::string text; ///< whole lines
};

/// Reads the arguments, without the program's name. Options may stand before or behind the command.
[[nodiscard]] std::variant<Request, ArgumentsEnd>
read_arguments(const std::vector<std::string>& arguments);
