// SPDX-License-Identifier: MIT
#pragma once

class DropDown;
class QAccessibleInterface;

/// A new interface that makes a drop-down menu readable and operable through the accessibility
/// tree: a combo box whose value is its choice and whose children are its items, which a press
/// chooses. Qt's own interface of a combo box has its list only once it was opened, and no press on
/// an item.
[[nodiscard]] QAccessibleInterface* new_menu_accessible(DropDown* menu);
