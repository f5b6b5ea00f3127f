// SPDX-License-Identifier: MIT
#pragma once

/// From now on drop-down menus can be read and operated through the accessibility tree: each one is
/// a combo box whose name is its caption, whose value is its choice, and whose children are its
/// items, which a press chooses. Qt's own interface of a combo box shows its list only once it has
/// been opened, and its items have no press. Idempotent; needs an application object.
void install_menu_accessible();
