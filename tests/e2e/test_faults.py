# SPDX-License-Identifier: MIT
"""Machines that answer late, wrongly, amid other things, or not at all."""

import screen_driver
import wire
from command import NOTE
from scenario import Scenario
from transcript import Transcript, echo, reply, without_replies

MESSAGE = NOTE.message
ATTEMPTS = 3  # until neither an answer nor the end of the wait for it was late


class Faults(Scenario):
    COMMAND = NOTE

    def apply(self, screen):
        """Presses, reads the alert, which is the same whatever the machine answers."""
        self.printed = Transcript.of_now()
        self.assertEqual(screen.do(screen_driver.APPLY), NOTE.success)
        return screen.new_output()

    def expected(self, *replies, confirmed):
        return (NOTE.found(self.printed, "4AC5F4C4")
                + self.printed.sent("4AC5F4C4", *replies, confirmed=confirmed))

    def test_a_silent_machine_gets_two_whole_sequences_and_never_a_third(self):
        machine = self.machine("--silent")
        screen = self.open_filled_in()
        self.assertEqual(self.apply(screen), self.expected(confirmed=False))
        self.assertEqual(screen.close(), 0)
        self.check_machine(machine, sequences=2)
        self.assertEqual(machine.sent(), [])

    def check_delayed(self, milliseconds, expected, sequences):
        """Load can only make the answer later and the wait longer: one attempt has to be right."""
        gadgets = self.plug("4AC5F4C4")
        for _ in range(ATTEMPTS):
            machine = self.simulate(gadgets, "--delay", str(milliseconds))
            screen = self.open_filled_in()
            output = self.apply(screen)
            self.assertEqual(screen.close(), 0)
            if without_replies(output) == without_replies(expected()):
                break
            machine.stop()
        self.check_machine(machine, sequences)
        return output

    def test_an_answer_after_250_ms_is_in_time(self):
        def expected():
            return self.expected(echo(MESSAGE), confirmed=True)
        self.assertEqual(self.check_delayed(250, expected, sequences=1), expected())

    def test_an_answer_after_400_ms_is_too_late(self):
        self.check_delayed(400, lambda: self.expected(confirmed=False), sequences=2)

    def test_a_wrong_second_byte_is_no_confirmation(self):
        machine = self.machine("--wrong")
        screen = self.open_filled_in()
        output = self.apply(screen)
        wrong = bytes((0x92, 64 ^ 1, 12))
        first = self.expected(reply(wrong, MESSAGE), confirmed=False).removesuffix("0\n")
        self.assertTrue(output.startswith(first), output)
        self.assertEqual(without_replies(output), self.expected(confirmed=False))
        self.assertEqual(screen.close(), 0)
        self.check_machine(machine, sequences=2)
        self.assertEqual([run.data for run in machine.sent()], [wrong, wrong])

    def test_a_wrong_third_byte_alone_is_a_confirmation(self):
        machine = self.machine("--wrong", "--wrong-byte", "3")
        screen = self.open_filled_in()
        wrong = bytes((0x92, 64, 12 ^ 1))
        self.assertEqual(self.apply(screen),
                         self.expected(reply(wrong, MESSAGE, matches=True), confirmed=True))
        self.assertEqual(screen.close(), 0)
        self.check_machine(machine, sequences=1)

    def test_chatter_around_the_echo_does_not_hide_it(self):
        machine = self.machine("--chatter")
        screen = self.open_filled_in()
        note_on, note_off = bytes((0x93, 60, 100)), bytes((0x83, 60, 0))
        replies = [reply(wire.CLOCK, MESSAGE), reply(note_on, MESSAGE), echo(MESSAGE),
                   reply(wire.CLOCK, MESSAGE, kept=MESSAGE), reply(note_off, MESSAGE)]
        self.assertEqual(self.apply(screen), self.expected(*replies, confirmed=True))
        self.assertEqual(screen.close(), 0)
        self.check_machine(machine, sequences=1)
        self.assertEqual([run.data for run in machine.sent()],
                         [wire.CLOCK, note_on, MESSAGE, wire.CLOCK, note_off])
