// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// Linking live_allocations.cpp into a test program replaces operator new and operator delete by
// ones that count.

/// How many allocations have not been freed. Every text, object, connection and thread of the MIDI
/// service holds at least one. Any thread.
[[nodiscard]] std::size_t live_allocations();

/// How many threads or open files, for instance, a folder of /proc/self lists.
[[nodiscard]] std::ptrdiff_t entries(const char* folder);
