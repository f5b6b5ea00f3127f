// SPDX-License-Identifier: MIT
#pragma once

#include "simulation/embedded_connection.h"

#include <functional>

class ContentView;
class QDir;

/// Runs the application over the embedded service with one simulated machine, 4AC5F4C4, and prints
/// what the machine holds after each action. `on_screen` is called when the window has been shown.
/// Returns the exit status when the window is closed.
int run_demo(int argc, char** argv,
             const std::function<void(ContentView&, EmbeddedMachine&)>& on_screen = {});

/// Operates the window by mouse and keyboard: maps hardware part 12 to Note On, channel 3, number
/// 64 and saves it. Prints each step and writes a picture of each state into the folder. True when
/// every step showed what it should and the machine holds, and has saved, exactly this mapping.
[[nodiscard]] bool run_tour(ContentView& screen, EmbeddedMachine& machine, const QDir& folder);
