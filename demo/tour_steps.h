// SPDX-License-Identifier: MIT
#pragma once

class ContentView;
class EmbeddedMachine;
class QDir;

/// Operates the window by mouse and keyboard: maps hardware part 12 to Note On, channel 3, number
/// 64 and saves it. Prints each step and writes a picture of each state into the folder. True when
/// every step showed what it should and the machine holds, and has saved, exactly this mapping.
[[nodiscard]] bool run_tour(ContentView& screen, EmbeddedMachine& machine, const QDir& folder);
