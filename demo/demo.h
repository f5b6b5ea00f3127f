// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/embedded_connection.h"

#include <functional>

class ContentView;

/// Runs the application over the embedded service with one simulated machine, 4AC5F4C4, until its
/// window is closed; gives its exit status. After each action it prints what the machine holds.
/// `on_screen` is called once the window has been shown.
int run_demo(int argc, char** argv,
             const std::function<void(ContentView&, EmbeddedMachine&)>& on_screen = {});
