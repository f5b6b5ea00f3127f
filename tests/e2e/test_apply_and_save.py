# SPDX-License-Identifier: MIT
"""The whole job of a user, with one machine plugged in, through the accessibility bus."""

import desktop
import screen_driver
import wire
from command import NOTE
from scenario import Scenario
from transcript import Transcript, echo


class ApplyAndSave(Scenario):
    def test_what_is_typed_is_in_the_machine_and_saved_there(self):
        machine = self.machine()
        printed = Transcript.of_now()
        self.assertEqual(printed.names.count("4AC5F4C4 MIDI 1"), 1)
        screen = self.open_screen()
        self.assertEqual(screen.new_output(), printed.start())
        screen.choose(screen_driver.MACHINE, "4AC9F4C4")
        screen.fill_in(**NOTE.inputs)
        self.assertEqual(screen.new_output(), "")

        screen.press(screen_driver.APPLY)
        self.assertEqual(screen.alert(), NOTE.success)
        desktop.screenshot(self.results() / "applied.png")
        screen.dismiss()
        self.assertEqual(screen.text(screen_driver.MACHINE), "4AC5F4C4")
        self.assertEqual(screen.new_output(), NOTE.confirmed(printed, "4AC5F4C4"))
        self.assertEqual(machine.tables(), {"4AC5F4C4": NOTE.held})

        self.assertEqual(screen.do(screen_driver.SAVE), ("hardware", "保存成功!"))
        self.assertEqual(screen.new_output(), printed.sent("4AC5F4C4", echo(wire.SAVE)))
        saved = {"4AC5F4C4": NOTE.held | {"saved": [NOTE.mapping]}}
        self.assertEqual(machine.tables(), saved)

        self.assertEqual(screen.close(), 0)
        self.assertEqual(screen.new_output(), "midi_exit\r\n")
        self.assertEqual(screen.errors(), "")
        self.assertEqual(machine.received_bytes(),
                         NOTE.sequence + b"".join(wire.sequence(wire.SAVE)))
        machine.power_cycle()
        self.assertEqual(machine.tables(), saved)
