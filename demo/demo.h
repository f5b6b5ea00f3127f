// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/embedded_connection.h"

#include <functional>

class ContentView;

/// Runs the application over the embedded service with one simulated machine, 4AC5F4C4, and prints
/// what the machine holds after each action. `on_screen` is called when the window has been shown.
/// Returns the exit status when the window is closed.
int run_demo(int argc, char** argv,
             const std::function<void(ContentView&, EmbeddedMachine&)>& on_screen = {});
