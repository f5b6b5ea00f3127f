# SPDX-License-Identifier: MIT
"""All sixteen machines come and go at random while somebody presses the button again and again."""

import random
import subprocess
import threading
import time

import screen_driver
from command import failure
from gadgets import CODES
from scenario import LONG, Scenario

SECONDS = 120 if LONG else 0  # at the least
PRESSES = 10
CHANGES = 50
SEED = 20260101  # the order of comings and goings; how they meet the presses differs each time


class Plugging(threading.Thread):
    """Plugs in what is out and pulls what is in, one after the other, until it is stopped."""

    def __init__(self, gadgets):
        super().__init__()
        self._gadgets = gadgets
        self._choice = random.Random(SEED)
        self._ended = threading.Event()
        self.changes = 0
        self.trouble = None

    def run(self):
        try:
            while not self._ended.is_set():
                gadget = self._choice.choice(self._gadgets)
                if gadget.is_bound():
                    gadget.unplug()
                else:
                    gadget.plug()
                self.changes += 1
        except (AssertionError, OSError, subprocess.SubprocessError) as trouble:
            self.trouble = trouble

    def stop(self):
        self._ended.set()
        self.join()


class Storm(Scenario):
    TIME_LIMIT = 480

    def check_answer(self, answer):
        """One of the two that a press can give; the failure lists machines and nothing else."""
        if answer == self.COMMAND.success:
            return
        title, text = answer
        head = failure()[1]
        self.assertEqual((title, text[:len(head)]), (failure()[0], head))
        for code in text[len(head):].split():
            self.assertIn(code, CODES)

    def test_every_press_is_answered_and_afterwards_all_is_as_before(self):
        gadgets = [self.gadget(code) for code in CODES]
        screen = self.open_filled_in()
        self.assertEqual(screen.do(screen_driver.APPLY), failure())
        before = self.holdings(screen)
        plugging = Plugging(gadgets)
        self.addCleanup(plugging.stop)
        plugging.start()
        end = time.monotonic() + SECONDS
        presses = 0
        while time.monotonic() < end or presses < PRESSES or plugging.changes < CHANGES:
            self.assertIsNone(plugging.trouble)
            self.check_answer(screen.do(screen_driver.APPLY))
            presses += 1
        plugging.stop()
        self.assertIsNone(plugging.trouble)
        print(f"{presses} presses, {plugging.changes} comings and goings", flush=True)

        for gadget in gadgets:
            if gadget.is_bound():
                gadget.unplug()
        self.assertEqual(screen.do(screen_driver.APPLY), failure())
        # The toolkit's own idle threads end after half a minute.
        self.assertLessEqual(self.holdings(screen), before)
        gadgets[5].plug()
        machine = self.simulate([gadgets[5]])
        screen.new_output()
        self.check_confirmed(screen, "4AC5F4C4")
        self.assertEqual(machine.received_bytes(), self.COMMAND.sequence)
        self.assertEqual(screen.close(), 0)
        self.assertEqual(screen.errors(), "")
