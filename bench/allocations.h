// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

// Linking allocations.cpp into a program counts what it asks the C library's memory for. A program
// built with the address sanitizer has another memory, and counts nothing.

/// The requests of this thread so far.
extern thread_local std::uint64_t allocations;

/// The requests of all threads so far.
extern std::atomic<std::uint64_t> all_allocations;
