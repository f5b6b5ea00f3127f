# SPDX-License-Identifier: MIT
"""Ports and clients that change their names, and two machines with one name."""

from command import NOTHING_HELD, failure
from scenario import Scenario


class Names(Scenario):
    def test_a_renamed_port_and_a_renamed_client_are_seen_at_the_next_press(self):
        machine = self.scripted_machine("Somebody", "Some port")
        screen = self.open_filled_in()
        self.check_refused(screen, "4AC0F4C4")
        # The port is found by its name; the client, which still has another, is no such device.
        machine.tell("port 4AC3F4C4 renamed")
        self.check_press(screen, failure("4AC3F4C4"), lambda printed: (
            self.COMMAND.found(printed, "4AC3F4C4") + printed.refused()))
        self.assertEqual(machine.received_bytes(), b"")
        machine.tell("client 4AC3F4C4")
        self.check_confirmed(screen, "4AC3F4C4")
        machine.tell("port Some port")
        self.check_refused(screen, "4AC3F4C4")
        self.assertEqual(screen.close(), 0)
        self.assertEqual(machine.received_bytes(), self.COMMAND.sequence)
        self.assertEqual(machine.tell("tables"), self.COMMAND.held)

    def test_of_two_with_one_name_the_higher_is_source_and_destination(self):
        lower = self.scripted_machine("4AC7F4C4", "4AC7F4C4 lower")
        higher = self.scripted_machine("4AC7F4C4", "4AC7F4C4 higher")
        screen = self.open_filled_in()
        # The transcript says that the higher source is connected, and its echo has arrived.
        self.check_confirmed(screen, "4AC7F4C4")
        self.assertIn("4AC7F4C4 higher is online\r\n", screen.output())
        self.assertNotIn("lower", screen.output())
        self.assertEqual(screen.close(), 0)
        self.assertEqual(higher.received_bytes(), self.COMMAND.sequence)
        self.assertEqual(higher.tell("tables"), self.COMMAND.held)
        self.assertEqual(lower.received_bytes(), b"")
        self.assertEqual(lower.tell("tables"), NOTHING_HELD)
