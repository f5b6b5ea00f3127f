// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>

// Linking system_calls.cpp into a test program puts a counter in front of the C library's calls
// that reach the sequencer: open, read, pread, write, ioctl, fcntl and poll. What the library calls
// for itself (printf's writing) is not counted.

/// The calls of this thread so far.
extern thread_local std::uint64_t system_calls;

/// The calls of all threads so far.
extern std::atomic<std::uint64_t> all_system_calls;

/// When not 0: the errno with which opening the sequencer's device node fails.
extern int sequencer_open_error;
