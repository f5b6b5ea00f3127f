// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>

class ContentView;

/// What the desktop shows of the application.
enum class ScenePhase : std::uint8_t { active, inactive, background };

/// The application: one window with the configuration screen in it.
class keyloftApp {
public:
    explicit keyloftApp(ScenePhase phase = ScenePhase::active) : scenePhase(phase) {}

    /// Runs the program until its window is closed; gives its exit status. A backend has to be
    /// installed before. `on_screen` is called once the window has been shown.
    /// Standard output is written line by line from here on, whatever it goes to.
    int run(int argc, char** argv, const std::function<void(ContentView&)>& on_screen = {});

private:
    /// Read by nobody: going to the background starts and stops nothing.
    [[maybe_unused]] ScenePhase scenePhase;
};
