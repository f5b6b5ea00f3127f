// SPDX-License-Identifier: MIT
#pragma once

/// From now on the screen's widgets show what they are in the accessibility tree: the screen a
/// window, its picture a graphic, its menus operable combo boxes. Any number of calls; needs the
/// application object.
void install_screen_accessible();
