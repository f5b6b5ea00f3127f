// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Naming a machine and probing for it, on the screen thread. Naming a machine always connects to it
// as well.

/// Makes the machine with this code the current one: sets `device_name` by the naming rules (empty
/// if no rule has the code) and the halves of the code, then calls midi_source_connect() and
/// returns its result: the index of the connected source, or 0xFFFFFFFF. Prints the code, the
/// middle value if a rule gets that far, the name, and the connection.
std::uint64_t set_device_name(std::uint32_t code);

/// The same with the code's own hexadecimal digits as the name, whatever the code. A code below
/// 0x10000000 has a shorter name.
std::uint64_t set_device_name_with_hexcode(std::uint32_t code);

/// Names and connects the machine with this code. Returns 1 if it is there and online, else 0. It
/// stays the current machine either way.
std::uint8_t judge_device_connect_state_with_id(std::uint32_t code);
