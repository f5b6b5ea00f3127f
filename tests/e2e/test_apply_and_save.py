# SPDX-License-Identifier: MIT
"""The whole job of a user, with one machine plugged in, through the accessibility bus."""

import unittest

import screen_driver
from scenario import Scenario


class ApplyAndSave(Scenario):
    def test_what_is_typed_is_in_the_machine_and_saved_there(self):
        machine = self.machine()
        screen = self.open_screen()
        screen.choose(screen_driver.MACHINE, "4AC9F4C4")
        screen.fill_in(part=12, kind="Note On", channel=3, controller=64)

        screen.press(screen_driver.APPLY)
        self.assertEqual(screen.alert(), ("设置成功!", "旋钮12--设置成功!"))
        screen.dismiss()
        self.assertEqual(screen.text(screen_driver.MACHINE), "4AC5F4C4")
        mapping = {"part": 12, "type": "Note On", "channel": 3, "controller": 64}
        self.assertEqual(machine.tables(), {"4AC5F4C4": {"table": [mapping], "saved": []}})

        screen.press(screen_driver.SAVE)
        self.assertEqual(screen.alert(), ("hardware", "保存成功!"))
        screen.dismiss()
        self.assertEqual(machine.tables(), {"4AC5F4C4": {"table": [mapping], "saved": [mapping]}})
        self.assertEqual(screen.errors(), "")
        self.assertEqual(screen.close(), 0)


if __name__ == "__main__":
    unittest.main()
