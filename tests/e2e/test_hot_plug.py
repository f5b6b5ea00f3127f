# SPDX-License-Identifier: MIT
"""A machine that comes and goes while the window is open."""

import subprocess

from scenario import LONG, Scenario
from until import until

TIMES = 50 if LONG else 6


class HotPlug(Scenario):
    TIME_LIMIT = 600

    def test_in_and_out_the_next_press_tells_the_truth(self):
        gadget = self.gadget("4AC5F4C4")
        screen = self.open_filled_in()
        self.addCleanup(subprocess.run, ["modprobe", "-r", "snd-dummy"], check=False)
        numbers = set()
        first = {}
        for turn in range(TIMES):
            # Another card in the lowest place moves the machine to another client number.
            subprocess.run(["modprobe", *(["-r"] if turn % 2 else []), "snd-dummy"], check=True)
            gadget.plug()
            numbers.add(gadget.client().number)
            machine = self.simulate([gadget])
            self.check_confirmed(screen, "4AC5F4C4")
            self.check_machine(machine)
            self.check_holdings(screen, first, "plugged")
            self.assertEqual(machine.stop(), 0)
            gadget.unplug()
            self.check_refused(screen, "4AC5F4C4")
            self.check_holdings(screen, first, "unplugged")
        self.assertEqual(len(numbers), 2)
        self.assertEqual(screen.close(), 0)
        self.assertEqual(screen.errors(), "")

    def check_holdings(self, screen, first, state):
        """Each time, keyloft has in this state no more than it had the first time.

        It may have less: the toolkit's own idle threads end after half a minute.
        """
        first.setdefault(state, self.holdings(screen))
        until(f"no more than {first[state]}", lambda: self.holdings(screen) <= first[state], 40)
