// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"

#include <functional>
#include <vector>

// Replaces usleep() in a test program that links virtual_pauses.cpp: no pause takes time, each is
// recorded, and the embedded service's manual time advances by as much.

/// The arguments of every usleep() since the last clear, in microseconds. Screen thread.
extern std::vector<unsigned> recorded_pauses;

/// The service whose manual time the pauses advance, or null.
extern EmbeddedBackend* paused_backend;

/// If set, called before each pause takes effect.
extern std::function<void(unsigned microseconds)> before_pause;
