// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/embedded/embedded_backend.h"

#include <functional>

// Linking virtual_waiting.cpp instead of setup/waiting.cpp lets the commands live in an embedded
// service's manual time.

/// Has the time, and lets it pass while a command waits.
extern EmbeddedBackend* waited_service;
/// Called whenever a command is about to wait.
extern std::function<void()> before_wait;
/// Called when there is nothing to wait for but what the test does.
extern std::function<void()> when_idle;
/// Called before time passes.
extern std::function<void()> before_time_passes;
