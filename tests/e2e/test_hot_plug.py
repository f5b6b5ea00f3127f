# SPDX-License-Identifier: MIT
"""A machine that comes and goes while the window is open."""

import subprocess
from collections import Counter

import command
import screen_driver
import sequencer
from scenario import LONG, Scenario
from transcript import Transcript
from until import until

TIMES = 50 if LONG else 6


class HotPlug(Scenario):
    TIME_LIMIT = 600

    def test_in_and_out_the_next_press_tells_the_truth(self):
        gadget = self.gadget("4AC5F4C4")
        screen = self.open_screen()
        screen.fill_in(**command.INPUTS)
        screen.new_output()
        self.addCleanup(subprocess.run, ["modprobe", "-r", "snd-dummy"], check=False)
        numbers = set()
        first = {}
        for turn in range(TIMES):
            # Another card in the lowest place moves the machine to another client number.
            subprocess.run(["modprobe", *(["-r"] if turn % 2 else []), "snd-dummy"], check=True)
            gadget.plug()
            numbers.add(gadget.client().number)
            machine = self.simulate([gadget])
            printed = Transcript.of_now()
            self.assertEqual(screen.do(screen_driver.APPLY), command.SUCCESS)
            self.assertEqual(screen.new_output(), command.confirmed(printed, "4AC5F4C4"))
            self.assertEqual(machine.received_bytes(), command.SEQUENCE)
            self.assertEqual(machine.tables(), {"4AC5F4C4": command.HELD})
            self.check_holdings(screen, first, "plugged")
            self.assertEqual(machine.stop(), 0)
            gadget.unplug()
            printed = Transcript.of_now()
            self.assertEqual(screen.do(screen_driver.APPLY), command.failure())
            self.assertEqual(screen.new_output(), command.nobody_there(printed, "4AC5F4C4"))
            self.check_holdings(screen, first, "unplugged")
        self.assertEqual(len(numbers), 2)
        self.assertEqual(screen.close(), 0)
        self.assertEqual(screen.errors(), "")

    def check_holdings(self, screen, first, state):
        """Each time, keyloft has in this state no more than it had the first time.

        It may have less: the toolkit's own idle threads end after half a minute.
        """
        def holdings():
            return Counter({"threads": screen.threads(), "clients": sequencer.number_of_clients(),
                            "subscriptions": sequencer.own_subscriptions(), **screen.descriptors()})
        first.setdefault(state, holdings())
        until(f"no more than {first[state]}", lambda: holdings() <= first[state], 40)
