# SPDX-License-Identifier: MIT
"""A sequencer that cannot be used, for each reason that there is, and that can be used later."""

import os
import subprocess
import sys
from pathlib import Path

import sequencer_node
from scenario import SCRATCH, Scenario
from sequencer_advice import NO_CLIENT, NO_DRIVER, NO_NODE
from transcript import Transcript
from until import until

NOBODY = 65534


class NoSequencer(Scenario):
    def open_without_ports(self):
        screen = self.open_screen()
        self.assertEqual(screen.new_output(), Transcript([]).start())
        screen.fill_in(**self.COMMAND.inputs)
        return screen

    def check_failing_press(self, screen):
        """As on a service without any port, and the program goes on."""
        self.assertEqual(Transcript.of_now().names, [])
        self.check_refused(screen, "4AC0F4C4")

    def test_no_node_then_no_driver_then_all_is_there_with_the_window_open(self):
        sequencer_node.take_away(self)
        screen = self.open_without_ports()
        self.assertEqual(screen.errors(), NO_NODE)
        self.check_failing_press(screen)
        self.assertEqual(screen.errors(), 2 * NO_NODE)
        self.check_failing_press(screen)
        self.assertEqual(screen.errors(), 3 * NO_NODE)

        give_driver_back = sequencer_node.make_node_without_driver(self)
        self.check_failing_press(screen)
        self.check_failing_press(screen)
        self.assertEqual(screen.errors(), 3 * NO_NODE + 2 * NO_DRIVER)

        give_driver_back()
        machine = self.machine()
        self.check_confirmed(screen, "4AC5F4C4")
        self.assertEqual(screen.errors(), 3 * NO_NODE + 2 * NO_DRIVER)
        self.assertEqual(screen.close(), 0)
        self.check_machine(machine)

    def test_all_clients_are_taken_and_then_given_back(self):
        machine = self.scripted_machine("4AC6F4C4", "4AC6F4C4 MIDI 1")
        taken, give_back = sequencer_node.take_all_clients(self)
        self.assertEqual(len(taken), sequencer_node.PROGRAM_CLIENTS - 1)
        screen = self.open_without_ports()
        self.assertEqual(screen.errors(), NO_CLIENT)
        self.check_failing_press(screen)
        self.assertEqual(screen.errors(), 2 * NO_CLIENT)
        give_back()
        self.check_confirmed(screen, "4AC6F4C4")
        self.assertEqual(screen.errors(), 2 * NO_CLIENT)
        self.assertEqual(screen.close(), 0)
        self.assertEqual(machine.received_bytes(), self.COMMAND.sequence)
        self.assertEqual(machine.tell("tables"), self.COMMAND.held)

    def test_an_ordinary_user_may_not_use_it_and_then_may(self):
        machine = self.scripted_machine("4AC6F4C4", "4AC6F4C4 MIDI 1")
        sequencer_node.allow_the_group_only(self)
        folder = SCRATCH / "ordinary"
        folder.mkdir()
        os.chown(folder, NOBODY, NOBODY)
        # The folders of the program and of this file may be closed to others.
        for path in (__file__, os.environ["KEYLOFT_E2E_PROGRAM"]):
            sequencer_node.open_folders_of(path)
        output = folder / "user.txt"
        with open(output, "wb") as said:
            user = subprocess.Popen(
                [sys.executable, Path(__file__).with_name("ordinary_user.py")],
                stdin=subprocess.DEVNULL, stdout=said, stderr=subprocess.STDOUT, user=NOBODY,
                group=NOBODY, extra_groups=[], env=os.environ | {"HOME": str(folder)})
        self.addCleanup(user.wait)
        self.addCleanup(user.terminate)
        until("the refusal", lambda: "refused\n" in output.read_text() or user.poll() is not None)
        sequencer_node.NODE.chmod(0o666)
        self.assertEqual(user.wait(200), 0, output.read_text())
        self.assertEqual(machine.received_bytes(), self.COMMAND.sequence)
        self.assertEqual(machine.tell("tables"), self.COMMAND.held)
