# SPDX-License-Identifier: MIT
"""The whole job of a user, with one machine plugged in, through the accessibility bus."""

import desktop
import screen_driver
import wire
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
        screen.fill_in(part=12, kind="Note On", channel=3, controller=64)
        self.assertEqual(screen.new_output(), "")

        screen.press(screen_driver.APPLY)
        self.assertEqual(screen.alert(), ("设置成功!", "旋钮12--设置成功!"))
        desktop.screenshot(self.results() / "applied.png")
        screen.dismiss()
        self.assertEqual(screen.text(screen_driver.MACHINE), "4AC5F4C4")
        message = wire.mapping(12, "Note On", 3, 64)
        self.assertEqual(screen.new_output(),
                         "NOTE_ON\n" + printed.probes() + printed.automatic_choice("4AC5F4C4")
                         + printed.sent("4AC5F4C4", echo(message)))
        mapping = {"part": 12, "type": "Note On", "channel": 3, "controller": 64}
        self.assertEqual(machine.tables(), {"4AC5F4C4": {"table": [mapping], "saved": []}})

        self.assertEqual(screen.do(screen_driver.SAVE), ("hardware", "保存成功!"))
        self.assertEqual(screen.new_output(), printed.sent("4AC5F4C4", echo(wire.SAVE)))
        self.assertEqual(machine.tables(), {"4AC5F4C4": {"table": [mapping], "saved": [mapping]}})

        self.assertEqual(screen.close(), 0)
        self.assertEqual(screen.new_output(), "midi_exit\r\n")
        self.assertEqual(screen.errors(), "")
        commands = wire.sequence(message) + wire.sequence(wire.SAVE)
        self.assertEqual(machine.received_bytes(), b"".join(commands))
        machine.power_cycle()
        self.assertEqual(machine.tables(), {"4AC5F4C4": {"table": [mapping], "saved": [mapping]}})
