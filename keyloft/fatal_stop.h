// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Which entry of the screen ended the program, or that it was none of them.
enum class FatalReason : std::uint8_t { part, channel, controller, no_entry };

/// Ends the program: writes out standard output, prints the message on standard error and aborts.
/// Weak, so that a program can bring its own, which must not return.
[[noreturn]] void fatal_stop(const char* message, FatalReason reason);
