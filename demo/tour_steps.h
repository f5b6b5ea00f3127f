// SPDX-License-Identifier: MIT
#pragma once

class ContentView;
class EmbeddedMachine;
class QDir;

/// Maps hardware part 12 to Note On, channel 3, number 64 and saves it, by mouse and keyboard on
/// the window, printing each step and leaving a picture of each state in the folder. True when
/// every step showed what it should and the machine's table and saved table are exactly what was
/// asked for.
[[nodiscard]] bool run_tour(ContentView& screen, EmbeddedMachine& machine, const QDir& folder);
