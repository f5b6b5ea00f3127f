# SPDX-License-Identifier: MIT
"""Two windows of keyloft, two programs, one machine: they may get into each other's way, and no
more than that."""

import command
import screen_driver
import wire
from scenario import SCRATCH, Scenario
from transcript import Transcript, echo

OTHER = {"part": 4, "kind": "Bend Change", "channel": 3, "controller": 64}
OTHER_MESSAGE = wire.mapping(**OTHER)
OTHER_SUCCESS = ("设置成功!", "旋钮4--设置成功!")


class TwoAtOnce(Scenario):
    def setUp(self):
        super().setUp()
        self.simulated = self.machine()
        self.printed = Transcript.of_now()
        self.one = self.open_screen(folder=SCRATCH / "one")
        self.two = self.open_screen(folder=SCRATCH / "two")
        self.one.fill_in(**command.INPUTS)
        self.two.fill_in(**OTHER)

    def check_one_after_the_other(self):
        """Each press is that of a program that is alone, but for the other's echo."""
        seen = len(self.simulated.received_bytes())
        for screen in (self.one, self.two):
            screen.new_output()
        self.assertEqual(self.one.do(screen_driver.APPLY), command.SUCCESS)
        self.assertEqual(self.two.do(screen_driver.APPLY), OTHER_SUCCESS)
        self.assertEqual(self.simulated.received_bytes()[seen:],
                         command.SEQUENCE + b"".join(wire.sequence(OTHER_MESSAGE)))
        self.assertIn(self.printed.sent("4AC5F4C4", echo(command.MESSAGE)), self.one.new_output())
        self.assertIn(self.printed.sent("4AC5F4C4", echo(OTHER_MESSAGE)), self.two.new_output())
        held = self.simulated.tables()["4AC5F4C4"]["table"]
        self.assertCountEqual(held, [command.MAPPING, {
            "part": 4, "type": "Bend Change", "channel": 3, "controller": 64}])

    def test_each_sees_the_machine_and_neither_sees_the_other(self):
        self.check_one_after_the_other()
        self.assertEqual(self.one.output().count("MIDIGetNumberOfSources"),
                         self.one.output().count(f"Sources {len(self.printed.names):x} "))

    def test_both_press_at_the_same_time_and_both_end_in_an_answer(self):
        self.one.press(screen_driver.APPLY)
        self.two.press(screen_driver.APPLY)
        self.assertEqual(self.one.alert(), command.SUCCESS)
        self.assertEqual(self.two.alert(), OTHER_SUCCESS)
        self.one.dismiss()
        self.two.dismiss()
        received = self.simulated.received_bytes()
        for message in (command.MESSAGE, OTHER_MESSAGE):
            self.assertIn(received.count(message), (1, 2))
        self.check_one_after_the_other()
