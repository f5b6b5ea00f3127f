// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <string>

class ContentView;

/// Whether the application is in front, behind another one, or out of sight.
enum class ScenePhase : std::uint8_t { active, inactive, background };

/// The phase that the toolkit reports now; inactive while there is no application object.
[[nodiscard]] ScenePhase phase_of_environment();

/// The application: one window with the configuration screen in it.
class keyloftApp {
public:
    explicit keyloftApp(ScenePhase phase = phase_of_environment()) : scenePhase(phase) {}

    /// Runs the program until its window is closed; gives its exit status. A backend has to be
    /// installed before. `on_screen` is called once the window has been shown.
    /// Standard output is written line by line from here on, whatever it goes to.
    /// `trouble_line` says what keeps MIDI from working, or nothing (empty). It is asked once the
    /// MIDI link was started and after each press; what it says goes to standard error.
    int run(int argc, char** argv, const std::function<void(ContentView&)>& on_screen = {},
            const std::function<std::string()>& trouble_line = {});

private:
    /// Read by nobody: going to the background starts and stops nothing.
    [[maybe_unused]] ScenePhase scenePhase;
};
