# SPDX-License-Identifier: MIT
"""Ports and clients that change their names, and two machines with one name."""

import command
import screen_driver
from scenario import Scenario
from transcript import Transcript


class Names(Scenario):
    def press(self, screen, alert, expected):
        printed = Transcript.of_now()
        screen.new_output()
        self.assertEqual(screen.do(screen_driver.APPLY), alert)
        self.assertEqual(screen.new_output(), expected(printed))

    def test_a_renamed_port_and_a_renamed_client_are_seen_at_the_next_press(self):
        machine = self.scripted_machine("Somebody", "Some port")
        screen = self.open_screen()
        screen.fill_in(**command.INPUTS)
        self.press(screen, command.failure(),
                   lambda printed: command.nobody_there(printed, "4AC0F4C4"))
        # The port is found by its name; the client, which still has another, is no such device.
        machine.tell("port 4AC3F4C4 renamed")
        self.press(screen, command.failure("4AC3F4C4"),
                   lambda printed: command.found(printed, "4AC3F4C4") + printed.refused())
        self.assertEqual(machine.received_bytes(), b"")
        machine.tell("client 4AC3F4C4")
        self.press(screen, command.SUCCESS,
                   lambda printed: command.confirmed(printed, "4AC3F4C4"))
        machine.tell("port Some port")
        self.press(screen, command.failure(),
                   lambda printed: command.nobody_there(printed, "4AC3F4C4"))
        self.assertEqual(screen.close(), 0)
        self.assertEqual(machine.received_bytes(), command.SEQUENCE)
        self.assertEqual(machine.tell("tables"), command.HELD)

    def test_of_two_with_one_name_the_higher_is_source_and_destination(self):
        lower = self.scripted_machine("4AC7F4C4", "4AC7F4C4 lower")
        higher = self.scripted_machine("4AC7F4C4", "4AC7F4C4 higher")
        screen = self.open_screen()
        screen.fill_in(**command.INPUTS)
        # The transcript says that the higher source is connected, and its echo has arrived.
        self.press(screen, command.SUCCESS,
                   lambda printed: command.confirmed(printed, "4AC7F4C4"))
        self.assertIn("4AC7F4C4 higher is online\r\n", screen.output())
        self.assertNotIn("lower", screen.output())
        self.assertEqual(screen.close(), 0)
        self.assertEqual(higher.received_bytes(), command.SEQUENCE)
        self.assertEqual(higher.tell("tables"), command.HELD)
        self.assertEqual(lower.received_bytes(), b"")
        self.assertEqual(lower.tell("tables"), command.NOTHING_HELD)
