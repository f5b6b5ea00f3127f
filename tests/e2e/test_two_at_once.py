# SPDX-License-Identifier: MIT
"""Two windows of keyloft, two programs, one machine: they may get into each other's way, and no
more than that."""

import screen_driver
from command import USUAL, Command
from scenario import SCRATCH, Scenario
from transcript import Transcript, echo

OTHER = Command(part=4, kind="Bend Change", channel=3, controller=64)


class TwoAtOnce(Scenario):
    def setUp(self):
        super().setUp()
        self.simulated = self.machine()
        self.printed = Transcript.of_now()
        self.one = self.open_filled_in(folder=SCRATCH / "one")
        self.two = self.open_screen(folder=SCRATCH / "two")
        self.two.fill_in(**OTHER.inputs)

    def check_one_after_the_other(self):
        """Each press is that of a program that is alone, but for the other's echo."""
        seen = len(self.simulated.received_bytes())
        for screen in (self.one, self.two):
            screen.new_output()
        self.assertEqual(self.one.do(screen_driver.APPLY), USUAL.success)
        self.assertEqual(self.two.do(screen_driver.APPLY), OTHER.success)
        self.assertEqual(self.simulated.received_bytes()[seen:], USUAL.sequence + OTHER.sequence)
        self.assertIn(self.printed.sent("4AC5F4C4", echo(USUAL.message)), self.one.new_output())
        self.assertIn(self.printed.sent("4AC5F4C4", echo(OTHER.message)), self.two.new_output())
        held = self.simulated.tables()["4AC5F4C4"]["table"]
        self.assertCountEqual(held, [USUAL.mapping, OTHER.mapping])

    def test_each_sees_the_machine_and_neither_sees_the_other(self):
        self.check_one_after_the_other()
        self.assertEqual(self.one.output().count("MIDIGetNumberOfSources"),
                         self.one.output().count(f"Sources {len(self.printed.names):x} "))

    def test_both_press_at_the_same_time_and_both_end_in_an_answer(self):
        self.one.press(screen_driver.APPLY)
        self.two.press(screen_driver.APPLY)
        self.assertEqual(self.one.alert(), USUAL.success)
        self.assertEqual(self.two.alert(), OTHER.success)
        self.one.dismiss()
        self.two.dismiss()
        received = self.simulated.received_bytes()
        for message in (USUAL.message, OTHER.message):
            self.assertIn(received.count(message), (1, 2))
        self.check_one_after_the_other()
