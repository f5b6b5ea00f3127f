// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"

#include <functional>
#include <vector>

// Linking virtual_pauses.cpp into a test program replaces usleep(): no pause takes time, each is
// written down, and the embedded service's manual time moves on by as much.

/// The arguments of every usleep() since the last clear, in microseconds. Screen thread.
extern std::vector<unsigned> recorded_pauses;

/// Whose manual time the pauses advance; null: nobody's.
extern EmbeddedBackend* paused_backend;

/// Called before each pause takes effect, when set: a test's way into the middle of a command.
extern std::function<void(unsigned microseconds)> before_pause;
