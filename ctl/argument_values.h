// SPDX-License-Identifier: MIT
#pragma once

#include "protocol/mapping.h"
#include "setup/machine_list.h"
#include "simulation/command_line.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What single words of a command line mean. None of these functions takes anything loosely: spaces,
// a plus sign or trailing text are mistakes. The sentence of a mistake names the argument, its
// value and its range.

/// The machine that -m names: its code and, where it is given, the port to send to.
struct MachineChoice {
    std::uint32_t code = 0;
    std::optional<setup::PortAddress> port{};
    bool operator==(const MachineChoice&) const = default;
};

/// A whole decimal number from `least` to `most`, as a mapping has it; see count_argument().
[[nodiscard]] int number_argument(std::string_view name, std::string_view text, unsigned least,
                                  unsigned most);

/// A message type by the window's name or a short one (note-on, note-off, control-change, cc,
/// bend-change, bend), in upper or lower case; WrongArguments.
[[nodiscard]] protocol::MessageType type_argument(std::string_view text);

/// CODE or CODE@CLIENT:PORT; WrongArguments.
[[nodiscard]] MachineChoice machine_argument(std::string_view text);

/// The machines of --demo: CODE[,CODE...] or "all", which is the family's sixteen; WrongArguments.
[[nodiscard]] std::vector<std::uint32_t> demo_argument(std::string_view text);
