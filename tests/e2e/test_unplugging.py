# SPDX-License-Identifier: MIT
"""A machine that is pulled at each step of a command that is on its way to it."""

import screen_driver
import steps
from command import NOTHING_HELD, USUAL, failure
from scenario import Scenario
from transcript import echo
from until import until

CONFIRMED = "设置成功了 \r\n"
UNCONFIRMED = "设置失败obk\r\n"


class Unplugging(Scenario):
    TIME_LIMIT = 480

    def setUp(self):
        super().setUp()
        self.cable = self.gadget("4AC5F4C4")
        self.steps = steps.Steps(self.program("tests/e2e/keyloft-steps.so"))
        self.screen = self.open_filled_in(self.steps.environment)
        self.machine = None

    def plug(self, *faults):
        self.cable.plug()
        self.machine = self.simulate([self.cable], *faults)

    def pull_at(self, what, argument, times, received, answers=True):
        """A press during which the machine is pulled before a step, when it has received so much.
        Gives the alert and the output."""
        self.steps.hold_at(what, argument, times)
        self.screen.press(screen_driver.APPLY)
        self.steps.wait_until_held()
        until("the bytes", lambda: len(self.machine.received_bytes()) >= len(received))
        output = ""
        counts = USUAL.message in received
        while counts and answers and echo(USUAL.message) not in output:
            output += until("output", self.screen.new_output)
        self.assertEqual(self.machine.tables(),
                         {"4AC5F4C4": USUAL.held if counts else NOTHING_HELD})
        self.cable.unplug()
        self.steps.release()
        alert = self.screen.alert()
        self.screen.dismiss()
        self.assertEqual(self.machine.received_bytes(), received)
        self.machine.stop()
        return alert, output + self.screen.new_output()

    def check_next_press(self):
        """With the machine back, all is as if nothing had been."""
        self.plug()
        self.check_confirmed(self.screen, "4AC5F4C4")
        self.assertEqual(self.machine.received_bytes(), USUAL.sequence)
        self.machine.stop()
        self.cable.unplug()

    def check_end(self, output, end):
        self.assertEqual(output[-len(end):], end)

    def test_before_and_between_the_lookups_nothing_is_sent(self):
        for step in (steps.MIDI_OUT, 1), (steps.LOOKUP, 1), (steps.LOOKUP, 2):
            with self.subTest(step=step):
                self.plug()
                alert, output = self.pull_at("line", *step, b"")
                self.assertEqual(alert, failure("4AC5F4C4"))
                self.assertNotIn("clock mc", output)
                self.check_end(output, "\r\n1\n")
                self.check_next_press()

    def test_before_each_send_the_rest_fails(self):
        for number in range(len(USUAL.messages)):
            with self.subTest(sent=number):
                self.plug()
                received = b"".join(USUAL.messages[:number])
                alert, output = self.pull_at("send", steps.EVENT, number + 1, received)
                # The echo may be there, but it is the last send that counts.
                self.assertEqual(alert, failure("4AC5F4C4"))
                counts = USUAL.message in received
                self.check_end(output, (CONFIRMED if counts else UNCONFIRMED) + "1\n")
                self.check_next_press()

    def test_while_the_echo_is_waited_for_the_echo_decides(self):
        self.plug()
        alert, output = self.pull_at("pause", 300000, 1, USUAL.sequence)
        self.assertEqual(alert, USUAL.success)
        self.check_end(output, echo(USUAL.message) + CONFIRMED + "0\n")
        self.check_next_press()
        self.plug("--silent")
        alert, output = self.pull_at("pause", 300000, 1, USUAL.sequence, answers=False)
        self.assertEqual(alert, failure("4AC5F4C4"))
        self.check_end(output, "clock mc\r\n" + UNCONFIRMED + "1\n")
        self.check_next_press()

    def test_while_the_alert_is_shown_the_alert_stays_as_it_is(self):
        self.plug()
        self.screen.press(screen_driver.APPLY)
        self.assertEqual(self.screen.alert(), USUAL.success)
        self.cable.unplug()
        self.assertEqual(self.screen.alert(), USUAL.success)
        self.screen.dismiss()
        self.machine.stop()
        self.assertEqual(self.screen.do(screen_driver.APPLY), failure())
        self.screen.new_output()
        self.check_next_press()
