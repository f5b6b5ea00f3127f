# SPDX-License-Identifier: MIT
"""What is on a machine's cable: the messages of a command, the pauses between them, and no more."""

import screen_driver
import wire
from scenario import Scenario

KINDS = ["Note On", "Note Off", "Control Change", "Bend Change"]
ATTEMPTS = 5  # until the cable was free all through a command


class Wire(Scenario):
    def setUp(self):
        super().setUp()
        self.gadget, = self.plug("4AC5F4C4")
        self.monitor = self.watch_wire(self.gadget)

    def are_long_enough(self, messages, pauses):
        """Whether all pauses are as long as they have to be, if the monitor can tell."""
        if any(message.waited for message in messages):
            return False
        for before, after, least in zip(messages, messages[1:], pauses[1:]):
            self.assertGreaterEqual(round(after.at - before.at, 6), least)
        return True

    def check_pauses(self, pauses):
        """Those before the messages of a press, as soon as one finds the cable free."""
        screen = self.open_screen()
        for attempt in range(ATTEMPTS):
            screen.do(screen_driver.APPLY)
            messages = self.monitor.messages()[attempt * len(pauses):]
            self.assertEqual(len(messages), len(pauses))
            if self.are_long_enough(messages, pauses):
                return
        self.fail("the cable was never free all through a command")

    def test_nothing_but_the_sequence_of_each_command(self):
        machine = self.simulate([self.gadget])
        screen = self.open_screen()
        expected = []
        for number, kind in enumerate(KINDS):
            self.assertEqual([message.data for message in self.monitor.messages()], expected)
            screen.fill_in(part=number, kind=kind, channel=16 - number, controller=127 - number)
            screen.do(screen_driver.APPLY)
            expected += wire.sequence(wire.mapping(number, kind, 16 - number, 127 - number))
        screen.do(screen_driver.SAVE)
        expected += wire.sequence(wire.SAVE)
        self.assertEqual(screen.close(), 0)
        self.assertEqual([message.data for message in self.monitor.messages()], expected)
        self.assertEqual(machine.received_bytes(), b"".join(expected))
        mappings = [{"part": number, "type": kind, "channel": 16 - number,
                     "controller": 127 - number} for number, kind in enumerate(KINDS)]
        self.assertEqual(machine.tables()["4AC5F4C4"], {"table": mappings, "saved": mappings})

    def test_pauses_within_a_sequence_are_never_too_short(self):
        self.simulate([self.gadget])
        self.check_pauses(wire.PAUSES)

    def test_a_repetition_comes_after_the_whole_wait_for_the_echo(self):
        self.simulate([self.gadget], "--silent")
        self.check_pauses(wire.PAUSES + [wire.PAUSE_BEFORE_REPETITION] + wire.PAUSES[1:])
