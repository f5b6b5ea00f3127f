// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Naming a machine and probing for it. All of it runs on the screen thread, and every naming ends
// by reconnecting: "name it" and "connect to it" are one operation.

/// Makes the machine with this code the current one: `device_name` by the naming rules (empty for a
/// code that no rule knows), `VID_val`, `PID_val` and `VID_PID_val`, then midi_source_connect().
/// Gives that call's result: the index of the connected source, or 0xFFFFFFFF.
/// Prints the code, the middle value where a rule gets that far, the name, and the connection.
std::uint64_t set_device_name(std::uint32_t code);

/// The same with the code's own hexadecimal digits as the name, whatever the code, no rules asked.
/// A code below 0x10000000 gives a shorter name.
std::uint64_t set_device_name_with_hexcode(std::uint32_t code);

/// Names and connects the machine with this code; 1 when it is there and online, else 0. The
/// machine stays the current one whatever the answer.
std::uint8_t judge_device_connect_state_with_id(std::uint32_t code);
