# SPDX-License-Identifier: MIT
"""keyloft ends in the middle of a command, by whatever hand: nothing is left behind."""

import signal
import subprocess

import screen_driver
import sequencer
import steps
from scenario import Scenario
from until import until

HALF_WAY = ("send", steps.EVENT, 8)  # the clocks and the note on are out
WAITING = ("pause", 300000, 1)


class Endings(Scenario):
    def setUp(self):
        super().setUp()
        self.simulated = self.machine()
        self.before = sequencer.number_of_clients()

    def stop_at(self, step, environment=None):
        """A press that is stopped there, and what lets it go on."""
        follower = steps.Steps(self.program("tests/e2e/keyloft-steps.so"))
        screen = self.open_filled_in(follower.environment | (environment or {}))
        follower.hold_at(*step)
        screen.press(screen_driver.APPLY)
        follower.wait_until_held()
        return screen, follower

    def check_that_nothing_is_left(self):
        self.assertEqual(sequencer.number_of_clients(), self.before)
        self.assertEqual(sequencer.own_subscriptions(), 0)
        seen = len(self.simulated.received_bytes())
        screen = self.open_filled_in()
        self.check_confirmed(screen, "4AC5F4C4")
        self.check_machine(self.simulated, since=seen)
        self.assertEqual(screen.close(), 0)

    def check_signal(self, number):
        for step, received in ((HALF_WAY, 7), (WAITING, len(self.COMMAND.messages))):
            with self.subTest(step=step):
                seen = len(self.simulated.received_bytes())
                screen, _ = self.stop_at(step)
                expected = b"".join(self.COMMAND.messages[:received])
                until("the bytes", lambda: self.simulated.received_bytes()[seen:] == expected)
                screen.send_signal(number)
                self.assertEqual(screen.wait(), -number)
                self.assertEqual(screen.errors(), "")
                self.check_that_nothing_is_left()

    def test_terminated_in_the_middle_of_a_command(self):
        self.check_signal(signal.SIGTERM)

    def test_killed_in_the_middle_of_a_command(self):
        self.check_signal(signal.SIGKILL)

    def test_the_x_server_dies_in_the_middle_of_a_command(self):
        server = subprocess.Popen(["Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-noreset"],
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        display = f":{server.stdout.readline().decode().strip()}"
        screen, follower = self.stop_at(WAITING, {"DISPLAY": display})
        server.kill()
        server.wait()
        follower.release()
        self.assertEqual(screen.wait(), 1)
        self.assertEqual(self.simulated.received_bytes(), self.COMMAND.sequence)
        self.check_that_nothing_is_left()
