# SPDX-License-Identifier: MIT
"""Other programs that would have a part in what keyloft and the machine say to each other."""

import subprocess

import sequencer
from scenario import Scenario
from sequencer_program import SequencerProgram

OWN_PORTS = [("MIDI Client", "Output port"), ("MIDI Client", "Input port")]


class Strangers(Scenario):
    def setUp(self):
        super().setUp()
        self.simulated = self.machine()
        self.screen = self.open_filled_in()
        self.presses = 0
        self.confirmed_press()

    def confirmed_press(self):
        """One press as if nobody else were there."""
        self.check_confirmed(self.screen, "4AC5F4C4")
        self.presses += 1
        self.check_machine(self.simulated, sequences=self.presses)

    def test_nobody_can_connect_anything_with_keyloft(self):
        own = ["{}:{}".format(*sequencer.address(*names)) for names in OWN_PORTS]
        others = [f"{client.number}:{port}" for client in sequencer.clients()
                  for port in client.ports]
        self.assertGreaterEqual(len(others), 5)  # system, through, and both ends of the cable
        before = sequencer.own_subscriptions()
        for mine in own:
            for other in others:
                for ends in (mine, other), (other, mine):
                    tried = subprocess.run(["aconnect", *ends], capture_output=True, text=True,
                                           check=False)
                    self.assertEqual(tried.returncode, 1, ends)
        self.assertEqual(sequencer.own_subscriptions(), before)
        listed = subprocess.run(["aconnect", "-l"], capture_output=True, text=True, check=True).stdout
        self.assertIn("4AC5F4C4", listed)
        self.assertNotIn("MIDI Client", listed)
        self.confirmed_press()

    def test_what_is_sent_to_keyloft_uninvited_is_dropped(self):
        stranger = SequencerProgram("Stranger", "Stranger port")
        self.addCleanup(stranger.close)
        taken = 0
        for names in OWN_PORTS:
            for _ in range(50):
                try:
                    stranger.send([self.COMMAND.message], to=sequencer.address(*names))
                    taken += 1
                except OSError:
                    pass  # this port takes nothing from anybody
        self.assertGreater(taken, 0)
        self.confirmed_press()
